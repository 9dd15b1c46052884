// POSIX thread, mutex and condition wrappers: one call each, results unchanged.

#include "utils/multithread.h"

#include <unistd.h>

namespace basekit {

int mutex_t::create() { return pthread_mutex_init(&m_mutex, nullptr); }
int mutex_t::destroy() { return pthread_mutex_destroy(&m_mutex); }
int mutex_t::enter() { return pthread_mutex_lock(&m_mutex); }
int mutex_t::leave() { return pthread_mutex_unlock(&m_mutex); }

cond_t::~cond_t() { pthread_cond_destroy(&m_cond); }
int cond_t::signal() { return pthread_cond_signal(&m_cond); }
int cond_t::broadcast() { return pthread_cond_broadcast(&m_cond); }
int cond_t::wait(mutex_t& m) { return pthread_cond_wait(&m_cond, &m.m_mutex); }

int thread_t::create(void* (*entry)(void*), void* arg)
{
    return pthread_create(&m_thread, nullptr, entry, arg);
}

int thread_t::cancel() { return pthread_cancel(m_thread); }
int thread_t::join(void** result) { return pthread_join(m_thread, result); }

int thread_t::getcorecount()
{
    // A failed query still means at least the processor we run on.
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<int>(n) : 1;
}

} // namespace basekit
