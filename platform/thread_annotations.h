// Locking rules written into the code: which lock guards which state, and which functions take,
// need or must not hold a lock. clang checks them with -Wthread-safety (the "clang" preset turns
// the warnings into errors); other compilers see empty macros.
//
//   class Registry {
//     void Add(int id) MS_EXCLUDES(m_mutex);
//     void AddLocked(int id) MS_REQUIRES(m_mutex);
//     COxStdMutex m_mutex;
//     std::map<int, Entry> m_entries MS_GUARDED_BY(m_mutex);
//   };
#ifndef MEDIASTORES_PLATFORM_THREAD_ANNOTATIONS_H_
#define MEDIASTORES_PLATFORM_THREAD_ANNOTATIONS_H_

#if defined(__clang__) && defined(__has_attribute)
#if __has_attribute(guarded_by)
#define MS_THREAD_ANNOTATION_(x) __attribute__((x))
#endif
#endif
#ifndef MS_THREAD_ANNOTATION_
#define MS_THREAD_ANNOTATION_(x)
#endif

// A type whose objects are locks ("mutex" names the kind in the diagnostics).
#define MS_CAPABILITY(kind) MS_THREAD_ANNOTATION_(capability(kind))
// A type whose objects hold a lock for their lifetime (a guard).
#define MS_SCOPED_CAPABILITY MS_THREAD_ANNOTATION_(scoped_lockable)
// A data member read and written only with the lock held.
#define MS_GUARDED_BY(lock) MS_THREAD_ANNOTATION_(guarded_by(lock))
// A pointer member whose pointee is read and written only with the lock held.
#define MS_PT_GUARDED_BY(lock) MS_THREAD_ANNOTATION_(pt_guarded_by(lock))
// A function that its caller must call with the locks held.
#define MS_REQUIRES(...) MS_THREAD_ANNOTATION_(requires_capability(__VA_ARGS__))
// A function that takes the locks itself, so its caller must not hold them.
#define MS_EXCLUDES(...) MS_THREAD_ANNOTATION_(locks_excluded(__VA_ARGS__))
// A function that returns with the locks held (a guard's constructor: the lock it is given).
#define MS_ACQUIRE(...) MS_THREAD_ANNOTATION_(acquire_capability(__VA_ARGS__))
// A function that returns with the locks released (a guard's destructor: no argument).
#define MS_RELEASE(...) MS_THREAD_ANNOTATION_(release_capability(__VA_ARGS__))
// A function whose body the analysis skips; say why at each use.
#define MS_NO_THREAD_SAFETY_ANALYSIS MS_THREAD_ANNOTATION_(no_thread_safety_analysis)

#endif  // MEDIASTORES_PLATFORM_THREAD_ANNOTATIONS_H_
