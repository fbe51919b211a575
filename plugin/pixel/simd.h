// The one place that chooses where the SSSE3 / SSE4.1 intrinsics come from.
//
// The kernels are written once with x86 intrinsics and SSSE3 as their baseline. On x86 the
// compiler's own headers provide them; elsewhere (arm64) SIMDe maps the very same intrinsics
// onto the native vector unit or portable C, so that every architecture computes the same
// bytes with the same code rather than with a second algorithm.
#pragma once

#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
#include <smmintrin.h>
#include <tmmintrin.h>
#define ZAV_PIXEL_NATIVE_X86 1
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/sse4.1.h>
#include <simde/x86/ssse3.h>
#define ZAV_PIXEL_NATIVE_X86 0
#endif
