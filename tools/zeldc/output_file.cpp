#include "output_file.hpp"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "failure.hpp"

namespace tool {
namespace {

constexpr int kFatalSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGQUIT, SIGXCPU};

// What the signal handler removes: one output exists at a time.
char pendingName[PATH_MAX];
volatile sig_atomic_t namePending = 0;

void removeAndDie(int signalNumber) {
    if (namePending != 0) unlink(pendingName);
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

// Holds the signals back while the temporary file comes into being or goes.
class SignalHold {
  public:
    SignalHold() {
        sigset_t held;
        sigemptyset(&held);
        for (const int number : kFatalSignals)
            sigaddset(&held, number);
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalHold() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;

  private:
    sigset_t before_{};
};

std::string directoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

void syncDirectory(const std::string& directory) {
    const int descriptor =
        open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);  // not every file system can
    close(descriptor);
}

}  // namespace

void installSignalHandlers() {
    for (const int number : kFatalSignals) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action = {};
        action.sa_handler = removeAndDie;
        sigaction(number, &action, nullptr);
    }
    signal(SIGXFSZ, SIG_IGN);
}

OutputFile::OutputFile(const std::string& path) : temporary_(directoryOf(path) + ".zeldc-XXXXXX") {
    const SignalHold hold;
    if (temporary_.size() >= sizeof pendingName) throw Failure("the name is too long");
    descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) failWithErrno("cannot create a file in its directory");
    std::memcpy(pendingName, temporary_.c_str(), temporary_.size() + 1);
    namePending = 1;
}

OutputFile::~OutputFile() {
    const SignalHold hold;
    if (descriptor_ >= 0) close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
    namePending = 0;
}

// Owner before mode, since a change of owner may reset bits of the mode. Others than root cannot
// give files away; the file is theirs then.
void OutputFile::copyAttributes(const struct stat& like) {
    const bool owned = fchown(descriptor_, like.st_uid, like.st_gid) == 0 ||
                       fchown(descriptor_, static_cast<uid_t>(-1), like.st_gid) == 0;
    // Without the group, its rights would be those of another one.
    const mode_t mode = like.st_mode & (owned ? 0777U : 0707U);
    if (fchmod(descriptor_, mode) != 0) failWithErrno("cannot set the mode");
    const timespec times[] = {like.st_atim, like.st_mtim};
    if (futimens(descriptor_, times) != 0) failWithErrno("cannot set the time");
}

void OutputFile::setModified(time_t time) {
    const timespec times[] = {{0, UTIME_OMIT}, {time, 0}};
    if (futimens(descriptor_, times) != 0) failWithErrno("cannot set the time");
}

void OutputFile::setDefaultMode() {
    const mode_t mask = umask(0);
    umask(mask);
    if (fchmod(descriptor_, 0666 & ~mask) != 0) failWithErrno("cannot set the mode");
}

void OutputFile::sync() {
    if (fsync(descriptor_) != 0) failWithErrno("cannot bring to the disk");
}

void OutputFile::commit(const std::string& path, bool replace) {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    // Network file systems report here what they could not write.
    if (close(descriptor) != 0) failWithErrno("cannot write");
    const SignalHold hold;
    int result = -1;
    if (!replace) {
        result = renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE);
        // A file system that cannot: a file of that name was looked for before the work began.
        replace =
            result != 0 && (errno == EINVAL || errno == ENOSYS) && access(path.c_str(), F_OK) != 0;
    }
    if (replace) result = rename(temporary_.c_str(), path.c_str());
    if (result != 0 && errno == EEXIST) throw Conflict(path + " already exists; not overwritten");
    if (result != 0) failWithErrno("cannot name the output " + path);
    temporary_.clear();
    namePending = 0;
    syncDirectory(directoryOf(path));
}

}  // namespace tool
