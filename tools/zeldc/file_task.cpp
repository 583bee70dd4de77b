#include "file_task.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <system_error>

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "bzip2_stream.hpp"
#include "failure.hpp"
#include "file_names.hpp"
#include "gzip_member.hpp"
#include "output_file.hpp"
#include "progress.hpp"

namespace tool {
namespace {

constexpr int kError = 1, kWarning = 2;

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ > STDERR_FILENO) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

  private:
    int number_;
};

// One file, from opening it to removing it.
class FileTask {
  public:
    FileTask(const Options& options, std::string path, int& exitStatus)
        : options_(options), path_(std::move(path)), exitStatus_(exitStatus) {}

    void run();

  private:
    bool isStdin() const { return path_ == "-"; }
    bool writesFile() const {
        return !toStdout() &&
               (options_.action == Action::compress || options_.action == Action::restore);
    }
    bool toStdout() const {
        return options_.toStdout || options_.output == "-" ||
               (isStdin() && options_.output.empty());
    }
    bool removesInput() const {
        return writesFile() && !options_.keep && !isStdin() && options_.output.empty();
    }

    void process();
    int openInput();
    void refuseInput() const;
    void refuseTerminal() const;
    std::string outputName() const;
    std::string finalName() const;
    void askBeforeReplacing(const std::string& name);
    void writeFile(ByteSource& source);
    void code(ByteSource& source, ByteSink& sink);
    void compress(ByteSource& source, ByteSink& sink);
    void restore(ByteSource& source, ByteSink& sink);
    void report(uint64_t plain, uint64_t packed, const std::string& output) const;
    void warn(const std::string& text);

    const Options& options_;
    std::string path_;
    int& exitStatus_;
    struct stat input_ {};
    bool replace_ = false;
    GzipHeader header_;  // of the file restored
    std::unique_ptr<Progress> progress_;
};

void say(const std::string& path, const std::string& text) {
    std::fprintf(stderr, "zeldc: %s: %s\n", path.c_str(), text.c_str());
}

void FileTask::warn(const std::string& text) {
    if (progress_) progress_->clear();
    if (!options_.quiet) say(isStdin() ? "standard input" : path_, text);
    if (exitStatus_ == 0) exitStatus_ = kWarning;
}

void FileTask::run() {
    std::string error;
    try {
        process();
        return;
    } catch (const Refusal& refusal) {
        warn(refusal.what());
        return;
    } catch (const Failure& failure) {
        error = failure.what();
    } catch (const std::bad_alloc&) {
        error = "out of memory";
    } catch (const std::system_error& failure) {  // threads that could not be started
        error = failure.what();
    }
    if (progress_) progress_->clear();
    say(isStdin() ? "standard input" : path_, error);
    exitStatus_ = kError;
}

void FileTask::process() {
    const Descriptor input(openInput());
    refuseTerminal();
    const bool regular = S_ISREG(input_.st_mode);
    progress_ = std::make_unique<Progress>(isStdin() ? "stdin" : baseName(path_),
                                           regular ? static_cast<uint64_t>(input_.st_size) : 0,
                                           !options_.quiet);
    ByteSource source(input.get(), *progress_);
    if (writesFile()) {
        writeFile(source);
        return;
    }
    const bool discards = options_.action == Action::test || options_.action == Action::list;
    ByteSink sink(discards ? ByteSink::kNowhere : STDOUT_FILENO);
    code(source, sink);
    const bool compresses = options_.action == Action::compress;
    report(compresses ? source.offset() : sink.count(), compresses ? sink.count() : source.offset(),
           "");
}

int FileTask::openInput() {
    if (isStdin()) {
        if (fstat(STDIN_FILENO, &input_) != 0) failWithErrno("cannot read");
        return STDIN_FILENO;
    }
    if (lstat(path_.c_str(), &input_) != 0) failWithErrno("cannot open");
    refuseInput();
    const int descriptor = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) failWithErrno("cannot open");
    if (fstat(descriptor, &input_) != 0) failWithErrno("cannot read");
    return descriptor;
}

// What would be lost if the file were replaced by its compressed form, or cannot be. It is only
// read where the output goes elsewhere.
void FileTask::refuseInput() const {
    if (S_ISDIR(input_.st_mode)) throw Refusal("is a directory -- ignored");
    if (!removesInput() || options_.force) return;
    if (S_ISLNK(input_.st_mode)) throw Refusal("is a symbolic link -- ignored");
    if (!S_ISREG(input_.st_mode)) throw Refusal("is not a regular file -- ignored");
    if ((input_.st_mode & (S_ISUID | S_ISGID)) != 0) {
        throw Refusal("is set-user-ID or set-group-ID -- ignored");
    }
    if (input_.st_nlink > 1) throw Refusal("has other links -- unchanged");
}

void FileTask::refuseTerminal() const {
    if (options_.force) return;
    if (options_.action == Action::compress) {
        if (toStdout() && isatty(STDOUT_FILENO) == 1) {
            throw Failure("compressed data are not written to a terminal; -f forces it");
        }
    } else if (isStdin() && isatty(STDIN_FILENO) == 1) {
        throw Failure("compressed data are not read from a terminal; -f forces it");
    }
}

std::string FileTask::outputName() const {
    if (!options_.output.empty()) return options_.output;
    const bool compresses = options_.action == Action::compress;
    std::string name =
        compresses ? compressedName(path_, options_.format) : restoredName(path_, options_.format);
    if (!name.empty()) return name;
    if (!compresses) throw Refusal("unknown suffix -- ignored");
    throw Refusal(std::string("already has a ") + suffixOf(options_.format) +
                  " suffix -- unchanged");
}

// The name that the header tells, where it is wanted, in the directory of the input.
std::string FileTask::finalName() const {
    const std::string stored = baseName(header_.name);
    if (!options_.name || options_.noName || !options_.output.empty() || stored.empty() ||
        stored == "." || stored == "..") {
        return outputName();
    }
    return path_.substr(0, path_.size() - baseName(path_).size()) + stored;
}

void FileTask::askBeforeReplacing(const std::string& name) {
    struct stat present {};
    if (lstat(name.c_str(), &present) != 0) return;
    if (present.st_dev == input_.st_dev && present.st_ino == input_.st_ino) {
        throw Failure("input and output are the same file");
    }
    if (replace_) return;
    if (!isStdin() && !options_.quiet && isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "zeldc: %s already exists; overwrite (y or n)? ", name.c_str());
        char answer[16] = "";
        replace_ = std::fgets(answer, sizeof answer, stdin) != nullptr &&
                   (answer[0] == 'y' || answer[0] == 'Y');
        if (replace_) return;
    }
    throw Refusal(name + " already exists; not overwritten");
}

void FileTask::writeFile(ByteSource& source) {
    replace_ = options_.force;
    std::string name = outputName();
    const bool storedName = options_.action == Action::restore && options_.name;
    if (!storedName) askBeforeReplacing(name);
    OutputFile output(name);
    ByteSink sink(output.descriptor());
    code(source, sink);
    progress_->clear();
    if (storedName) {
        name = finalName();
        askBeforeReplacing(name);
    }
    if (S_ISREG(input_.st_mode)) {
        output.copyAttributes(input_);
    } else {
        output.setDefaultMode();
    }
    if (storedName && header_.time != 0) output.setModified(static_cast<time_t>(header_.time));
    if (removesInput()) output.sync();
    output.commit(name, replace_);
    if (removesInput() && unlink(path_.c_str()) != 0) failWithErrno("cannot be removed");
    const bool compresses = options_.action == Action::compress;
    report(compresses ? source.offset() : sink.count(), compresses ? sink.count() : source.offset(),
           name);
}

void FileTask::code(ByteSource& source, ByteSink& sink) {
    if (options_.action == Action::compress) {
        compress(source, sink);
    } else {
        restore(source, sink);
    }
}

void FileTask::compress(ByteSource& source, ByteSink& sink) {
    if (options_.format == Format::bzip2) {
        compressBzip2(source, sink, options_);
        return;
    }
    GzipHeader header;
    if (!options_.noName && !isStdin()) {
        header.name = baseName(path_);
        const auto time = static_cast<int64_t>(input_.st_mtime);
        if (time > 0 && time <= std::numeric_limits<uint32_t>::max()) {
            header.time = static_cast<uint32_t>(time);
        }
    }
    compressGzip(source, sink, header, options_);
}

void FileTask::restore(ByteSource& source, ByteSink& sink) {
    Format format = options_.format;
    if (format == Format::recognise) {
        format = bzip2MagicIsNext(source) ? Format::bzip2 : Format::gzip;
        if (format == Format::gzip && !gzipMagicIsNext(source)) {
            throw Failure("offset 0: neither in gzip nor in bzip2 format");
        }
    }
    const Ending ending = format == Format::bzip2 ? restoreBzip2(source, sink, options_)
                                                  : restoreGzip(source, sink, header_);
    if (ending.garbage) warn("trailing garbage ignored");
}

void FileTask::report(uint64_t plain, uint64_t packed, const std::string& output) const {
    progress_->clear();
    const double saved =
        plain == 0 ? 0 : 100.0 * (1.0 - static_cast<double>(packed) / static_cast<double>(plain));
    if (options_.action == Action::list) {
        const std::string name = restoredName(path_, options_.format);
        std::printf("%19llu %19llu %5.1f%% %s\n", static_cast<unsigned long long>(packed),
                    static_cast<unsigned long long>(plain), saved,
                    isStdin()      ? "stdout"
                    : name.empty() ? path_.c_str()
                                   : name.c_str());
    } else if (options_.verbose && !options_.quiet) {
        const char* verb = removesInput() ? " -- replaced with " : " -- created ";
        const std::string result = options_.action == Action::test ? " OK"
                                   : output.empty()                ? ""
                                                                   : verb + output;
        std::fprintf(stderr, "%s:\t%5.1f%%%s\n", path_.c_str(), saved, result.c_str());
    }
}

void processDirectory(const Options& options, const std::string& path, int& exitStatus);

void processPath(const Options& options, const std::string& path, int& exitStatus) {
    struct stat info {};
    if (options.recursive && path != "-" && lstat(path.c_str(), &info) == 0 &&
        S_ISDIR(info.st_mode)) {
        processDirectory(options, path, exitStatus);
    } else {
        FileTask(options, path, exitStatus).run();
    }
}

// The names are read before any file is touched, so that the outputs are not met as inputs.
void processDirectory(const Options& options, const std::string& path, int& exitStatus) {
    std::vector<std::string> names;
    DIR* directory = opendir(path.c_str());
    if (directory == nullptr) {
        say(path, std::string("cannot open: ") + std::strerror(errno));
        exitStatus = kError;
        return;
    }
    while (const dirent* entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    const std::string prefix = path.ends_with('/') ? path : path + "/";
    for (const std::string& name : names)
        processPath(options, prefix + name, exitStatus);
}

}  // namespace

int processFiles(const Options& options) {
    installSignalHandlers();
    int exitStatus = 0;
    if (options.action == Action::list && !options.quiet) {
        std::printf("%19s %19s %6s %s\n", "compressed", "uncompressed", "ratio", "name");
    }
    if (options.files.empty()) processPath(options, "-", exitStatus);
    for (const std::string& path : options.files)
        processPath(options, path, exitStatus);
    return exitStatus;
}

}  // namespace tool
