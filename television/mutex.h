#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Clang's thread safety analysis checks these locks. Other compilers ignore the attributes.
#if defined(__clang__)
#define NRX_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define NRX_THREAD_SAFETY(attribute)
#endif
#define NRX_GUARDED_BY(mutex) NRX_THREAD_SAFETY(guarded_by(mutex))
#define NRX_REQUIRES(mutex) NRX_THREAD_SAFETY(requires_capability(mutex))
#define NRX_EXCLUDES(mutex) NRX_THREAD_SAFETY(locks_excluded(mutex))
/// For a function that the analysis cannot follow. A comment at each use says why.
#define NRX_NOT_ANALYSED NRX_THREAD_SAFETY(no_thread_safety_analysis)

namespace television {

/// A `std::mutex` with the attributes of the analysis.
class NRX_THREAD_SAFETY(capability("mutex")) Mutex {
public:
    void lock() NRX_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
    void unlock() NRX_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }

private:
    friend class MutexLock;

    std::mutex mutex_;
};

/// Holds a mutex until the end of the scope. To wait for a condition, call `wait` in a loop in the function that
/// holds the lock, because the analysis does not know inside a lambda that the lock is held.
class NRX_THREAD_SAFETY(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) NRX_THREAD_SAFETY(acquire_capability(mutex)) : lock_(mutex.mutex_) {}
    MutexLock(MutexLock const&) = delete;
    MutexLock& operator=(MutexLock const&) = delete;
    ~MutexLock() NRX_THREAD_SAFETY(release_capability()) {}  // NOLINT(modernize-use-equals-default): the attribute.

    void lock() NRX_THREAD_SAFETY(acquire_capability()) { lock_.lock(); }
    void unlock() NRX_THREAD_SAFETY(release_capability()) { lock_.unlock(); }

    void wait(std::condition_variable& condition) { condition.wait(lock_); }
    /// Returns false at the deadline.
    bool waitUntil(std::condition_variable& condition, std::chrono::steady_clock::time_point deadline) {
        return condition.wait_until(lock_, deadline) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> lock_;
};

}  // namespace television
