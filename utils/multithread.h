// Thin wrappers over POSIX threads, mutexes and condition variables. Every
// operation is one POSIX call whose result is passed back unchanged.
#pragma once

#include <pthread.h>

namespace basekit {

// create() must be called before use and destroy() after; neither happens
// on construction or destruction.
class mutex_t {
public:
    mutex_t() = default;
    mutex_t(const mutex_t&) = delete;
    mutex_t& operator=(const mutex_t&) = delete;

    int create();
    int destroy();
    int enter();
    int leave();

private:
    friend class cond_t;
    pthread_mutex_t m_mutex{};
};

// Usable at once; destroyed with the object.
class cond_t {
public:
    cond_t() = default;
    ~cond_t();
    cond_t(const cond_t&) = delete;
    cond_t& operator=(const cond_t&) = delete;

    int signal();
    int broadcast();
    int wait(mutex_t& m);

private:
    pthread_cond_t m_cond = PTHREAD_COND_INITIALIZER;
};

// Holds one thread handle. Destruction neither joins nor detaches; a second
// create() drops the older handle.
class thread_t {
public:
    thread_t() = default;
    thread_t(const thread_t&) = delete;
    thread_t& operator=(const thread_t&) = delete;

    int create(void* (*entry)(void*), void* arg);
    int cancel();
    int join(void** result);

    // Number of online logical processors (at least 1).
    static int getcorecount();

private:
    pthread_t m_thread{};
};

} // namespace basekit
