#include "SoakServer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Reactions.h"
#include "ResultBuilders.h"

namespace {

using quorlan::protocol::LexoResponseMessage;
using scripted::Request;

// A result of the capability whose first text is the audio.
LexoResponseMessage ResultOf(const Request& request) {
    const std::string& capability = request.access.capkey();
    const std::string& text = request.inner.data();
    LexoResponseMessage result;
    if (capability == "asr.cloud.freetalk") {
        result = scripted::FreetalkResult(2, 2, 2);
        auto* const segment = result.mutable_sfreetalkresult()->mutable_psegmentlist(0);
        segment->mutable_psentenceresults(0)->set_psztext(text);
    } else if (capability == "asr.cloud.grammar") {
        result = scripted::GrammarResult(1, 3);
        auto* const segment = result.mutable_sgrammarresult()->mutable_psegmentresults(0);
        segment->mutable_psentenceresults(0)->set_psztext(text);
    } else if (capability == "asr.cloud.keywordspot") {
        result = scripted::KeywordResult(4);
        result.mutable_skeywordspotresult()->mutable_pkeywordresults(0)->set_sztext(text);
    } else {
        result = scripted::AnalysisResult(1, 2, 1, 3, 1, 2);
        auto* const segment = result.mutable_sanalysisresult()->mutable_psegmentresults(0);
        segment->mutable_psentenceresults(0)->set_psztext(text);
    }
    return result;
}

std::string Echo(const Request& request) {
    return scripted::EchoResult(ResultOf(request))(request);
}

scripted::Reaction ReactionTo(SoakWish wish) {
    using namespace scripted;
    switch (wish) {
        case SoakWish::kEcho:
            return Answer(Echo);
        case SoakWish::kDelay:
            return Sequence({Pause(std::chrono::milliseconds(kSoakDelayMs)), Answer(Echo)});
        case SoakWish::kHangUp:
            return HangUp();
        case SoakWish::kReset:
            return Reset();
        case SoakWish::kHalf:
            return Sequence({Answer(Echo, 20), HangUp()});
        case SoakWish::kGarbage:
            return Answer(Body("\xFF\xFF\xFF\xFF"));
        case SoakWish::kStranger:
            return Answer(scripted::Echo([](auto& response) { response.set_identify("other"); }));
        case SoakWish::kRefusal:
            return Answer(scripted::Echo([](auto& response) { response.set_error_no(13); }));
        case SoakWish::kForbidden:
            return Answer(EchoAccess([](auto& access) { access.set_error_no(5); }));
        case SoakWish::kNothing:
            break;
    }
    return Answer();
}

void Serve(int commands, int reports) {
    scripted::ScriptedServer server;
    server.StopRecording();
    server.Otherwise([](const Request& request, scripted::Connection& connection) {
        const std::string& audio = request.inner.data();
        const auto wish = audio.empty() ? SoakWish::kNothing : static_cast<SoakWish>(audio[0]);
        ReactionTo(wish)(request, connection);
    });
    ::dprintf(reports, "%d\n", server.Port());
    char ignored = 0;
    while (::read(commands, &ignored, 1) > 0) {
    }
    ::dprintf(reports, "%zu\n", server.RequestCount());
}

long ReadNumber(int fd) {
    std::string text;
    for (char byte = 0; ::read(fd, &byte, 1) == 1 && byte != '\n';) text += byte;
    return text.empty() ? -1 : std::atol(text.c_str());
}

}  // namespace

SoakServer::SoakServer() {
    int commands[2];
    int reports[2];
    if (::pipe(commands) != 0 || ::pipe(reports) != 0) std::abort();
    pid_ = ::fork();
    if (pid_ == 0) {
        ::close(commands[1]);
        Serve(commands[0], reports[1]);
        ::_exit(0);
    }
    ::close(commands[0]);
    ::close(reports[1]);
    to_server_ = commands[1];
    from_server_ = reports[0];
    port_ = static_cast<int>(ReadNumber(from_server_));
}

SoakServer::~SoakServer() {
    Stop();
}

long SoakServer::Stop() {
    if (pid_ < 0) return -1;
    ::close(to_server_);
    const long count = ReadNumber(from_server_);
    ::close(from_server_);
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? count : -1;
}
