// Clang's thread-safety attributes under names of our own, so the compiler checks what each
// lock guards (scripts/thread-safety runs the check). Other compilers see nothing.
//
//   class Queue {
//     void push(Task task) TL_EXCLUDES(mutex_);
//    private:
//     void wake() TL_REQUIRES(mutex_);
//     Mutex mutex_;
//     std::deque<Task> tasks_ TL_GUARDED_BY(mutex_);
//   };
//
// The standard library's mutexes carry no such attributes; support/Mutex.h has the small
// annotated types the analysis can follow.
#pragma once

#if defined(__clang__)
#define TL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TL_THREAD_ANNOTATION(x)
#endif

#define TL_CAPABILITY(name) TL_THREAD_ANNOTATION(capability(name))
#define TL_SCOPED_CAPABILITY TL_THREAD_ANNOTATION(scoped_lockable)
#define TL_GUARDED_BY(lock) TL_THREAD_ANNOTATION(guarded_by(lock))
#define TL_PT_GUARDED_BY(lock) TL_THREAD_ANNOTATION(pt_guarded_by(lock))
#define TL_ACQUIRED_AFTER(...) TL_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define TL_ACQUIRED_BEFORE(...) TL_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define TL_REQUIRES(...) TL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TL_REQUIRES_SHARED(...) TL_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
#define TL_ACQUIRE(...) TL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TL_TRY_ACQUIRE(...) TL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define TL_ACQUIRE_SHARED(...) TL_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define TL_RELEASE(...) TL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TL_RELEASE_SHARED(...) TL_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define TL_RELEASE_GENERIC(...) TL_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))
#define TL_EXCLUDES(...) TL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TL_RETURN_CAPABILITY(lock) TL_THREAD_ANNOTATION(lock_returned(lock))
// For the few functions whose locking the analysis cannot follow; say why beside each use.
#define TL_NO_THREAD_SAFETY_ANALYSIS TL_THREAD_ANNOTATION(no_thread_safety_analysis)
