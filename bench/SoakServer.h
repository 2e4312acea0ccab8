// The recognition server of the soak, in a process of its own: what it takes does not count as the
// library's. Every request says in its audio what is to become of it.
#pragma once

#include <sys/types.h>

#include <string>

// What the first byte of a request's audio asks for.
enum class SoakWish : char {
    kEcho = 'e',       // the audio comes back as the result's text
    kNothing = 'n',    // a good answer without a result
    kDelay = 'd',      // the echo, after kSoakDelayMs
    kHangUp = 'h',     // the connection ends without an answer
    kReset = 'r',      // the same by a reset
    kHalf = 'p',       // the connection ends within the answer
    kGarbage = 'g',    // a frame that is no message
    kStranger = 's',   // the answer to somebody else
    kRefusal = 'f',    // LEXO_ERR_RECOG_FAILED
    kForbidden = 'a',  // an error of the access layer
};
constexpr int kSoakDelayMs = 50;

class SoakServer {
  public:
    // Forks; to be made before the process has threads.
    SoakServer();
    ~SoakServer();
    SoakServer(const SoakServer&) = delete;
    SoakServer& operator=(const SoakServer&) = delete;

    std::string Address() const { return "127.0.0.1:" + std::to_string(port_); }
    // Ends the process and returns how many requests it has had, or -1 if it died.
    long Stop();

  private:
    pid_t pid_ = -1;
    int port_ = 0;
    int to_server_ = -1;    // closed: end
    int from_server_ = -1;  // the port, and at the end the count
};
