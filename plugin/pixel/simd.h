// The one place that chooses where the SSSE3 intrinsics come from.
//
// The kernels are written once with x86 intrinsics and SSSE3 as their baseline. On x86 the
// compiler's own headers provide them; elsewhere (arm64) SIMDe maps the very same intrinsics
// onto the native vector unit or portable C, so that every architecture computes the same
// bytes with the same code rather than with a second algorithm.
#pragma once

// ZAV_PIXEL_FORCE_SIMDE (with SIMDE_NO_NATIVE) builds the portable path on x86 too, so that
// the bytes of the non-x86 build can be checked on an x86 machine.
#if (defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)) && !defined(ZAV_PIXEL_FORCE_SIMDE)
#include <tmmintrin.h>
#define ZAV_PIXEL_NATIVE_X86 1
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/ssse3.h>
#define ZAV_PIXEL_NATIVE_X86 0
#endif
