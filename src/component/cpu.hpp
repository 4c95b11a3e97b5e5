// Processor features chosen at run time.  Code that needs one is compiled
// beside the portable code with a function attribute (KOR_FUSED for the
// fused multiply-add; the linear algebra's kernels name AVX2 themselves) and
// called only when the processor has it.
#pragma once

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define KOR_X86_FEATURES 1
#define KOR_FUSED [[gnu::target("fma")]]
#else
#define KOR_X86_FEATURES 0
#define KOR_FUSED
#endif

namespace kor::cpu {

#if KOR_X86_FEATURES
inline bool has_avx2() {
  static const bool yes = (__builtin_cpu_init(), __builtin_cpu_supports("avx2"));
  return yes;
}
inline bool has_fused_multiply_add() {
  static const bool yes = (__builtin_cpu_init(), __builtin_cpu_supports("fma"));
  return yes;
}
#else
inline bool has_avx2() { return false; }
inline bool has_fused_multiply_add() { return false; }
#endif

}  // namespace kor::cpu
