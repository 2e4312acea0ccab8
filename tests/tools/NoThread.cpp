// Preloaded into the tool, which then gets no thread.
#include <pthread.h>

#include <cerrno>

extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t*,
                                                                     const pthread_attr_t*,
                                                                     void* (*)(void*),
                                                                     void*) noexcept {
    return EAGAIN;
}
