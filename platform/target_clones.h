// Hot kernels are compiled for several instruction sets; the processor's best is chosen at the
// first call. All of them give the same bits.
#pragma once

// NVQ_ONE_TARGET switches it off, for builds in which functions must not be resolved at load time.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(NVQ_ONE_TARGET)
#define NVQ_KERNEL __attribute__((target_clones("avx2", "sse4.1", "default")))
#else
#define NVQ_KERNEL
#endif

// For what kernels share: in each of them it is compiled for the kernel's instruction set.
#define NVQ_INLINE inline __attribute__((always_inline))
