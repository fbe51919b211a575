// The one place that chooses where the SSSE3 / SSE4.1 intrinsics come from.
//
// The kernels are written once with x86 intrinsics and SSSE3 as their baseline. On x86 the
// compiler's own headers provide them; elsewhere (arm64) SIMDe maps the very same intrinsics
// onto the native vector unit or portable C, so that every architecture computes the same
// bytes with the same code rather than with a second algorithm.
#pragma once

// ZAV_PIXEL_FORCE_SIMDE (with SIMDE_NO_NATIVE) builds the portable path on x86 too, so that
// the bytes of the non-x86 build can be checked on an x86 machine.
#if (defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)) && !defined(ZAV_PIXEL_FORCE_SIMDE)
#include <smmintrin.h>
#include <tmmintrin.h>
#define ZAV_PIXEL_NATIVE_X86 1
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
// SIMDe is third-party code included through an ordinary include path: keep our warning flags
// from reporting its internals (clang 14 flags a '|' on booleans in its SSE4.1 header).
#if defined(__clang__)
#pragma clang diagnostic push
#if __has_warning("-Wbitwise-instead-of-logical")
#pragma clang diagnostic ignored "-Wbitwise-instead-of-logical"
#endif
#endif
#include <simde/x86/sse4.1.h>
#include <simde/x86/ssse3.h>
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
#define ZAV_PIXEL_NATIVE_X86 0
#endif
