// Preloaded into the tool, which then gets no socket.
#include <cerrno>

extern "C" __attribute__((visibility("default"))) int socket(int, int, int) {
    errno = EMFILE;
    return -1;
}
