#pragma once

// TESSARON_CLONES marks a function that is compiled twice, for processors with and without 256-bit
// registers; the loader picks one. For loops over reals side by side: products and sums are the same in both
// versions, and so are the results. A third version with 512-bit registers gains nothing with four lanes;
// eight lanes gain 4 to 10 percent on processors that have them and cost half where they have to be halved.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && defined(__GLIBC__) && \
    !defined(__AVX2__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define TESSARON_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))
#else
#define TESSARON_CLONES
#endif
