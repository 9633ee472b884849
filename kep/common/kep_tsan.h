#pragma once

/// Tells the thread sanitizer what TBB's library, which is not built for it, keeps from its sight: that a
/// loop's bodies run behind what was done before the loop, and that what follows the loop runs behind its
/// bodies. Nothing in any other build.
namespace KEP_TSAN {

#if defined(__has_feature) // clang++
#if __has_feature(thread_sanitizer)
#define KEP_HAS_TSAN
#endif
#elif defined(__SANITIZE_THREAD__) // g++
#define KEP_HAS_TSAN
#endif

#if defined(KEP_HAS_TSAN)
extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}
// One for all libraries.
__attribute__((visibility("default"))) inline char loop_begin;
__attribute__((visibility("default"))) inline char loop_end;
inline void before_loop() {
  __tsan_release(&loop_begin);
}
inline void begin_body() {
  __tsan_acquire(&loop_begin);
}
inline void end_body() {
  __tsan_release(&loop_end);
}
inline void after_loop() {
  __tsan_acquire(&loop_end);
}
#else
inline void before_loop() {}
inline void begin_body() {}
inline void end_body() {}
inline void after_loop() {}
#endif

} // namespace KEP_TSAN
