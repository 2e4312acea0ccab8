#include "LogBackend.h"

#include <fcntl.h>
#include <locale.h>
#include <log4cxx/file.h>
#include <log4cxx/fileappender.h>
#include <log4cxx/helpers/loglog.h>
#include <log4cxx/patternlayout.h>
#include <log4cxx/xml/domconfigurator.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "FileDescriptor.h"
#include "LogAppenders.h"
#include "MutexLock.h"
#include "RegularFile.h"
#include "StandardStreams.h"
#include "StreamPrint.h"

namespace {

// log4cxx converts paths, environment variables and the messages of appenders without an Encoding
// through the character set of the locale: in the C locale, where a host usually stands, each
// non-ASCII byte would turn into "?". The change is the calling thread's alone and ends with the
// scope. Where the system lacks C.UTF-8 nothing changes.
class Utf8Scope {
  public:
    Utf8Scope() : former_(uselocale(Utf8())) {}
    ~Utf8Scope() { uselocale(former_); }
    Utf8Scope(const Utf8Scope&) = delete;
    Utf8Scope& operator=(const Utf8Scope&) = delete;

  private:
    static locale_t Utf8() {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return utf8;
    }

    const locale_t former_;
};

// What log4cxx itself says, of a file that cannot be rolled say, it prints on standard error with
// locks held that every line of the log needs. While nobody empties that, it is to say nothing.
// What the host may have set it to cannot be asked for; a standard error with room costs one look.
class QuietIfUnheard {
  public:
    QuietIfUnheard() : is_quiet_(!HasRoomNow(stderr)) {
        if (is_quiet_) Count(1);
    }
    ~QuietIfUnheard() {
        if (is_quiet_) Count(-1);
    }
    QuietIfUnheard(const QuietIfUnheard&) = delete;
    QuietIfUnheard& operator=(const QuietIfUnheard&) = delete;

  private:
    // Never over a fork: the logger holds its own lock meanwhile, and that over a fork.
    static void Count(int change) {
        static constinit MutexLock lock;
        static constinit int quiet_ones = 0;
        const MutexGuard guard(lock);
        quiet_ones += change;
        log4cxx::helpers::LogLog::setQuietMode(quiet_ones > 0);
    }

    const bool is_quiet_;
};

// A log that fails has no log to say so.
void Complain(const char* subject, const char* reason) try {
    PrintOn(stderr, std::string("orvx: ") + subject + ": " + reason + "\n");
} catch (const std::bad_alloc&) {  // nor is there any to tell it with
}

// Reading a FIFO or a terminal would wait for ever. A missing file is left to log4cxx to report.
bool IsReadableInTime(const char* path) {
    struct stat status {};
    return stat(path, &status) != 0 || S_ISREG(status.st_mode);
}

// log4cxx replaces each ${NAME} by the environment's value, and what that contains likewise: with a
// value that leads back to its own name it would go round until the stack is at its end.
bool HasEndlessVariable(std::string_view text, int depth = 8) {
    for (std::size_t at = 0; (at = text.find("${", at)) != text.npos; at += 2) {
        const std::string_view name = text.substr(at + 2);
        const char* const value =
            getenv(std::string(name.substr(0, name.find_first_of("$}"))).c_str());
        if (value != nullptr && (depth == 0 || HasEndlessVariable(value, depth - 1))) return true;
    }
    return false;
}

// Whether the appender's log file can be written; log4cxx does not tell. One whose Encoding it does
// not know has no writer.
bool IsWritable(const log4cxx::FileAppender& file) {
    if (!file.getWriter()) return false;
    // It may be gone already: another process writes the same log and found it full.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK;
    return FileDescriptor(StandardStreams::OpenFile(file.getFile().c_str(), kFlags)).IsOpen();
}

log4cxx::LayoutPtr UsualLayout() {
    return std::make_shared<log4cxx::PatternLayout>("%d %-5p [%t] %m%n");
}

log4cxx::LoggerList AllLoggers(const log4cxx::HierarchyPtr& hierarchy) {
    log4cxx::LoggerList loggers = hierarchy->getCurrentLoggers();
    loggers.push_back(hierarchy->getRootLogger());
    return loggers;
}

bool IsFront(const log4cxx::AppenderPtr& appender) {
    return std::dynamic_pointer_cast<FrontAppender>(appender) != nullptr;
}

// By one thread at a time.
void NeverDestroy(std::shared_ptr<void> thing) {
    static auto* const kept = new std::vector<std::shared_ptr<void>>;
    kept->push_back(std::move(thing));
}

}  // namespace

LogBackend::LogBackend(log4cxx::HierarchyPtr hierarchy, const char* logger_name)
    : hierarchy_(std::move(hierarchy)),
      logger_(hierarchy_->getLogger(logger_name)),
      levels_{log4cxx::Level::getDebug(), log4cxx::Level::getInfo(), log4cxx::Level::getWarn(),
              log4cxx::Level::getError()} {}

// A forked child leaves its parent's as they are: it may have closed their descriptors, which are
// perhaps its own new ones by now, and some wait for a thread that only the parent has.
void LogBackend::Close() noexcept {
    if (getpid() != owner_) return;
    const QuietIfUnheard quiet;
    const Utf8Scope utf8;
    try {
        for (const log4cxx::LoggerPtr& logger : AllLoggers(hierarchy_)) {
            for (const log4cxx::AppenderPtr& appender : logger->getAllAppenders()) {
                appender->close();
                if (IsFront(appender)) logger->removeAppender(appender);
            }
        }
        for (auto& [former, fit] : fits_) {
            if (IsFront(fit)) fit = nullptr;
        }
    } catch (const std::exception& error) {
        Complain("closing the log", error.what());
    }
}

std::unique_ptr<LogBackend> LogBackend::Load(const char* path, const char* logger_name) noexcept {
    if (path == nullptr) path = "";
    if (logger_name == nullptr) logger_name = "";
    if (!IsReadableInTime(path)) {
        Complain(path, "not a regular file");
        return nullptr;
    }
    StandardStreams::LookAgain();
    const StandardStreams::Taken taken;
    const QuietIfUnheard quiet;
    const Utf8Scope utf8;
    try {
        return Configure(path, logger_name);
    } catch (const std::exception& error) {
        Complain(path, error.what());
        return nullptr;
    }
}

std::unique_ptr<LogBackend> LogBackend::Configure(const char* path, const char* logger_name) {
    if (HasEndlessVariable(ReadRegularFile(path).value_or(""))) {
        Complain(path, "a variable that stands for itself");
        return nullptr;
    }
    auto hierarchy = log4cxx::Hierarchy::create();
    NeverDestroy(hierarchy);
    const auto status = log4cxx::xml::DOMConfigurator().doConfigure(log4cxx::File(path), hierarchy);
    if (status != log4cxx::spi::ConfigurationStatus::Configured) return nullptr;
    std::unique_ptr<LogBackend> backend(new LogBackend(std::move(hierarchy), logger_name));
    backend->ReplaceUnfitAppenders();
    // An XML file of another kind is configured, says log4cxx, and would swallow every message.
    if (!backend->HasAppender() && backend->Threshold() <= kLogError) {
        Complain(path, "no appender for the messages");
        backend->Close();
        NeverDestroy(std::move(backend));
        return nullptr;
    }
    return backend;
}

void LogBackend::ReplaceUnfitAppenders() {
    for (const log4cxx::LoggerPtr& logger : AllLoggers(hierarchy_)) {
        for (const log4cxx::AppenderPtr& appender : logger->getAllAppenders()) {
            logger->removeAppender(appender);
            if (const auto fit = FitAppender(appender)) logger->addAppender(fit);
        }
    }
}

// One for each, however often it is attached: appenders lock only themselves.
log4cxx::AppenderPtr LogBackend::FitAppender(const log4cxx::AppenderPtr& appender) {
    const auto [fit, is_new] = fits_.try_emplace(appender);
    if (is_new) fit->second = MakeFit(appender);
    return fit->second;
}

// For files log4cxx's own way, a FallbackErrorHandler in the XML, was rejected: it reaches for the
// default hierarchy, and so loads whatever log4cxx.properties lies in the host's current folder.
log4cxx::AppenderPtr LogBackend::MakeFit(const log4cxx::AppenderPtr& appender) {
    if (const auto async = log4cxx::cast<log4cxx::AsyncAppender>(appender)) {
        std::vector<log4cxx::AppenderPtr> behind;
        for (const log4cxx::AppenderPtr& inner : async->getAllAppenders()) {
            if (auto fit = FitAppender(inner)) behind.push_back(std::move(fit));
        }
        if (behind.empty()) return nullptr;
        return std::make_shared<AppenderWithoutThread>(*async, std::move(behind));
    }
    // Without one, or with one of an unknown class, some would lose every line, others crash.
    if (!appender->getLayout()) appender->setLayout(UsualLayout());
    const auto file = log4cxx::cast<log4cxx::FileAppender>(appender);
    if (!file) return appender;
    if (IsWritable(*file)) return std::make_shared<LastingFileAppender>(file);
    return std::make_shared<ErrorStreamAppender>(UsualLayout());
}

bool LogBackend::HasAppender() const {
    for (log4cxx::LoggerPtr logger = logger_; logger; logger = logger->getParent()) {
        if (!logger->getAllAppenders().empty()) return true;
        if (!logger->getAdditivity()) break;
    }
    return false;
}

int LogBackend::Threshold() const {
    int level = kLogDebug;
    while (level <= kLogError && !logger_->isEnabledFor(levels_[level])) ++level;
    return level;
}

void LogBackend::Append(LogLevel level, const std::string& line) noexcept {
    const StandardStreams::Taken taken;  // a file that is full makes room for a new one
    const QuietIfUnheard quiet;
    const Utf8Scope utf8;
    try {
        if (!logger_->isEnabledFor(levels_[level])) return;
        logger_->forcedLogLS(levels_[level], line,
                             log4cxx::spi::LocationInfo::getLocationUnavailable());
    } catch (const std::exception& error) {
        if (!has_complained_.test_and_set()) Complain("writing the log", error.what());
    }
}
