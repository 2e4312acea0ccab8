// Preloaded into the tool, where it fails one allocation of the threads that recognise: the one
// whose number ORVX_FAIL_AT tells, from 1.
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
    static std::atomic<int> left = std::atoi(std::getenv("ORVX_FAIL_AT"));
    void* const memory =
        ::gettid() != ::getpid() && --left == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
