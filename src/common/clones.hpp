#pragma once

// TESSARON_WIDE_CLONES marks a function that is compiled twice, for processors with and without 256-bit
// registers; the loader picks one. For loops of products and sums of reals side by side: these are the same
// in both versions, and so are the results.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && defined(__GLIBC__) && \
    !defined(__AVX2__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define TESSARON_WIDE_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define TESSARON_WIDE_CLONES
#endif
