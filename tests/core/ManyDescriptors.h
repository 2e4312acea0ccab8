// Keeps every descriptor up to 1100 in use, as a host with many connections does: what is opened
// next does not fit the fixed set of select().
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

#include <vector>

class ManyDescriptors {
  public:
    ManyDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &former_);
        rlimit raised = former_;
        raised.rlim_cur = former_.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &raised);
        int last = 0;
        while (last >= 0 && last < FD_SETSIZE + 76) {
            last = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            if (last >= 0) {
                descriptors_.push_back(last);
            }
        }
    }
    ~ManyDescriptors() {
        for (const int descriptor : descriptors_) {
            ::close(descriptor);
        }
        ::setrlimit(RLIMIT_NOFILE, &former_);
    }
    ManyDescriptors(const ManyDescriptors&) = delete;
    ManyDescriptors& operator=(const ManyDescriptors&) = delete;

    // False where the system allows fewer.
    bool AreHeld() const { return !descriptors_.empty() && descriptors_.back() >= FD_SETSIZE; }

  private:
    rlimit former_{};
    std::vector<int> descriptors_;
};
