// Care for hosts that have closed their standard streams, as daemons do. Whatever is opened there
// takes the number of one, and what the host prints would go into the log or to the server, or
// raise SIGPIPE; what it reads would come from there.
//
// So while something is opened, the places of the streams that are closed are taken, by what is as
// good as closed. Other hosts shall not pay for that: nothing is done until a stream was once found
// closed, and ten times in a second is often enough to look.
#pragma once

class StandardStreams {
  public:
    // To be called where the host may have just closed one.
    static void LookAgain();

    // As open(), never with the number of a stream, and not to be kept from it by a signal, as may
    // happen on a file system of the network; closed on exec.
    static int OpenFile(const char* path, int flags);
    // As socket(), never with the number of a stream; closed on exec.
    static int OpenSocket(int domain, int type, int protocol);

    // While one lives, nothing that is opened gets the number of a stream that was closed. What the
    // host puts in its place meanwhile stays, but if it does so at the very moment of its end.
    class [[nodiscard]] Taken {
      public:
        Taken();
        ~Taken();
        Taken(const Taken&) = delete;
        Taken& operator=(const Taken&) = delete;

      private:
        const bool is_taking_;
    };

    // Around a fork. The child finds the streams as closed as its parent left them.
    static void HoldStill();
    static void GoOn();
    static void GoOnInChild();
};
