#include "file_task.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <new>
#include <system_error>

#include "byte_sink.hpp"
#include "byte_source.hpp"
#include "bzip2_stream.hpp"
#include "failure.hpp"
#include "file_names.hpp"
#include "gzip_member.hpp"
#include "input_file.hpp"
#include "listing.hpp"
#include "output_file.hpp"
#include "progress.hpp"

namespace tool {
namespace {

constexpr int kError = 1, kWarning = 2;
constexpr const char* kUnknownSuffix = "unknown suffix -- ignored";

// What the files of one command share.
struct Course {
    const Options& options;
    Listing listing;
    int exitStatus = 0;
};

// One file, from opening it to removing it.
class FileTask {
  public:
    FileTask(Course& course, std::string path)
        : course_(course), options_(course.options), path_(std::move(path)) {}

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
    void findInput();
    int openInput();
    void refuseInput() const;
    void refuseTerminal() const;
    std::string outputName() const;
    std::string besideInput(const std::string& stored, const std::string& other) const;
    void askBeforeReplacing(const std::string& name);
    bool writesDevice() const;
    void writeFile(ByteSource& source);
    void writeElsewhere(ByteSource& source);
    void code(ByteSource& source, ByteSink& sink);
    void compress(ByteSource& source, ByteSink& sink);
    void restore(ByteSource& source, ByteSink& sink);
    void restoreForeign(ByteSource& source, ByteSink& sink) const;
    void report(const ByteSource& source, const ByteSink& sink, const std::string& output);
    void list(uint64_t plain, uint64_t packed);
    void note(const std::string& text, bool always);
    void raiseStatus(int status);
    void warn(const std::string& text);

    Course& course_;
    const Options& options_;
    std::string path_;
    struct stat input_ {};
    bool replace_ = false;
    // Of the file restored.
    Format format_ = Format::gzip;
    GzipHeader header_;
    Ending ending_;
    std::unique_ptr<Progress> progress_;
};

void FileTask::note(const std::string& text, bool always) {
    if (progress_) progress_->clear();
    if (always || !options_.quiet) say(path_, text);
}

// An error outweighs a warning.
void FileTask::raiseStatus(int status) {
    if (course_.exitStatus != kError) course_.exitStatus = status;
}

void FileTask::warn(const std::string& text) {
    note(text, false);
    raiseStatus(kWarning);
}

void FileTask::run() {
    std::string error;
    try {
        process();
        return;
    } catch (const Conflict& conflict) {
        note(conflict.what(), true);
        raiseStatus(kWarning);
        return;
    } catch (const Refusal& refusal) {
        warn(refusal.what());
        return;
    } catch (const PassedOver& reason) {
        if (!options_.recursive || options_.verbose) note(reason.what(), false);
        return;
    } catch (const Failure& failure) {
        error = failure.what();
    } catch (const std::bad_alloc&) {
        error = "out of memory";
    } catch (const std::system_error& failure) {  // threads that could not be started
        error = failure.what();
    }
    note(error, true);
    raiseStatus(kError);
}

void FileTask::process() {
    const Descriptor input(openInput());
    if (fstat(input.get(), &input_) != 0) failWithErrno("cannot read");
    if (S_ISDIR(input_.st_mode)) refuseInput();  // behind a link
    refuseTerminal();
    progress_ = std::make_unique<Progress>(isStdin() ? "stdin" : baseName(path_), sizeOf(input_),
                                           !options_.quiet);
    ByteSource source(input.get(), *progress_);
    if (writesFile() && !writesDevice()) {
        writeFile(source);
    } else {
        writeElsewhere(source);
    }
}

int FileTask::openInput() {
    if (!isStdin()) {
        findInput();
        refuseInput();
    }
    return openForReading(path_);
}

// A compressed file may go without its suffix on the command line.
void FileTask::findInput() {
    if (lstat(path_.c_str(), &input_) == 0) return;
    const int error = errno;
    if (options_.action != Action::compress && error == ENOENT) {
        for (const std::string& name : namesWithSuffix(path_, options_.format)) {
            if (lstat(name.c_str(), &input_) != 0) continue;
            path_ = name;
            return;
        }
    }
    errno = error;
    failWithErrno("cannot open");
}

// What would be lost if the file were replaced by its compressed form, or cannot be. Where the
// output goes elsewhere any file is only read.
void FileTask::refuseInput() const {
    if (S_ISDIR(input_.st_mode)) throw Refusal("is a directory -- ignored");
    // Trees hold files of all kinds.
    if (options_.recursive && options_.action != Action::compress &&
        restoredName(path_, options_.format).empty()) {
        throw PassedOver(kUnknownSuffix);
    }
    if (!writesFile() || !options_.output.empty() || options_.force) return;
    if (S_ISLNK(input_.st_mode)) throw Refusal("is a symbolic link -- ignored");
    if (!S_ISREG(input_.st_mode)) throw Refusal("is not a regular file -- ignored");
    if ((input_.st_mode & (S_ISUID | S_ISGID | S_ISVTX)) != 0) {
        throw Refusal("is set-user-ID, set-group-ID or sticky -- ignored");
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

// Where a link leads: its target is replaced, not the link (which may be /dev/stdout).
std::string targetOf(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return path;
    char target[PATH_MAX];
    return realpath(path.c_str(), target) != nullptr ? target : path;
}

std::string FileTask::outputName() const {
    if (!options_.output.empty()) return targetOf(options_.output);
    const bool compresses = options_.action == Action::compress;
    const std::string suffix = suffixOf(options_.format);
    std::string name =
        compresses ? compressedName(path_, options_.format) : restoredName(path_, options_.format);
    if (!name.empty()) return name;
    if (compresses) {
        // gzip compresses once more what -f is given for, bzip2 does not.
        if (options_.force && options_.format == Format::gzip) return path_ + suffix;
        throw PassedOver("already has a " + suffix + " suffix -- unchanged");
    }
    throw Refusal(kUnknownSuffix);
}

// The name that the header tells, in the directory of the input; the other one if it tells none.
std::string FileTask::besideInput(const std::string& stored, const std::string& other) const {
    const std::string name = baseName(stored);
    if (name.empty() || name == "." || name == "..") return other;
    return path_.substr(0, path_.size() - baseName(path_).size()) + name;
}

void FileTask::askBeforeReplacing(const std::string& name) {
    struct stat present {};
    if (lstat(name.c_str(), &present) != 0) return;
    if (present.st_dev == input_.st_dev && present.st_ino == input_.st_ino) {
        throw Failure("input and output are the same file");
    }
    if (replace_) return;
    if (!isStdin() && !options_.quiet && isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "zeldc: %s already exists; overwrite (y or n)? ",
                     printable(name).c_str());
        std::string answer;
        std::getline(std::cin, answer);
        replace_ = answer.starts_with('y') || answer.starts_with('Y');
        if (replace_) return;
    }
    throw Conflict(name + " already exists; not overwritten");
}

void FileTask::writeFile(ByteSource& source) {
    replace_ = options_.force;
    std::string name = outputName();
    const bool storedName = options_.action == Action::restore && options_.name && !options_.noName;
    if (!storedName) askBeforeReplacing(name);
    OutputFile output(name);
    ByteSink sink(output.descriptor());
    code(source, sink);
    progress_->clear();
    if (storedName) {
        if (options_.output.empty()) name = besideInput(header_.name, name);
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
    report(source, sink, name);
}

// Where there is no file to replace: a terminal, a pipe, /dev/null.
bool FileTask::writesDevice() const {
    struct stat present {};
    return !options_.output.empty() && stat(options_.output.c_str(), &present) == 0 &&
           !S_ISREG(present.st_mode) && !S_ISDIR(present.st_mode);
}

// To standard output, to a device, or to nowhere.
void FileTask::writeElsewhere(ByteSource& source) {
    const bool discards = options_.action == Action::test || options_.action == Action::list;
    const bool opens = writesFile();
    const Descriptor device(opens ? open(options_.output.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY)
                                  : STDOUT_FILENO);
    if (device.get() < 0) failWithErrno("cannot open " + options_.output);
    ByteSink sink(discards ? ByteSink::kNowhere : device.get());
    code(source, sink);
    report(source, sink, opens ? options_.output : "");
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
    const bool gzip = options_.format != Format::bzip2 && gzipMagicIsNext(source);
    const bool bzip2 = options_.format != Format::gzip && bzip2MagicIsNext(source);
    if (!gzip && !bzip2) {
        restoreForeign(source, sink);
        return;
    }
    format_ = bzip2 ? Format::bzip2 : Format::gzip;
    ending_ = bzip2 ? restoreBzip2(source, sink, options_) : restoreGzip(source, sink, header_);
    if (ending_.garbage) warn("trailing garbage ignored");
}

// With -f, standard output shows any file, restored or as it is.
void FileTask::restoreForeign(ByteSource& source, ByteSink& sink) const {
    if (options_.action == Action::restore && options_.force && toStdout()) {
        while (source.ensure(1)) {
            sink.write(source.next(), source.left());
            source.consume(source.left());
        }
        return;
    }
    if (!source.ensure(1)) failAt(0, "unexpected end of file");
    failAt(0, options_.format == Format::gzip    ? "not in gzip format"
              : options_.format == Format::bzip2 ? "not in bzip2 format"
                                                 : "neither in gzip nor in bzip2 format");
}

void FileTask::report(const ByteSource& source, const ByteSink& sink, const std::string& output) {
    const bool compresses = options_.action == Action::compress;
    const uint64_t plain = compresses ? source.offset() : sink.count();
    const uint64_t packed = compresses ? sink.count() : source.offset();
    progress_->clear();
    if (options_.action == Action::list) {
        list(plain, packed);
        return;
    }
    if (!options_.verbose || options_.quiet) return;
    const std::string name = printable(path_);
    if (options_.action == Action::test) {
        std::fprintf(stderr, "%s:\t OK\n", name.c_str());
        return;
    }
    const char* verb = removesInput() ? " -- replaced with " : " -- created ";
    std::fprintf(stderr, "%s:\t%5.1f%%%s\n", name.c_str(), percentSaved(plain, packed),
                 output.empty() ? "" : (verb + printable(output)).c_str());
}

void FileTask::list(uint64_t plain, uint64_t packed) {
    const bool hasTime = format_ == Format::gzip && header_.time != 0;
    std::string name = restoredName(path_, options_.format);
    if (name.empty()) name = isStdin() ? "stdout" : path_;
    if (options_.name) name = besideInput(header_.name, name);
    course_.listing.add({packed, plain, name, format_, ending_.crc,
                         hasTime ? int64_t{header_.time} : static_cast<int64_t>(input_.st_mtime)});
}

void processDirectory(Course& course, const std::string& path);

void processPath(Course& course, const std::string& path) {
    struct stat info {};
    if (course.options.recursive && path != "-" && lstat(path.c_str(), &info) == 0 &&
        S_ISDIR(info.st_mode)) {
        processDirectory(course, path);
    } else {
        FileTask(course, path).run();
    }
}

// The names are read before any file is touched, so that the outputs are not met as inputs.
void processDirectory(Course& course, const std::string& path) {
    std::vector<std::string> names;
    DIR* directory = opendir(path.c_str());
    if (directory == nullptr) {
        say(path, std::string("cannot open: ") + std::strerror(errno));
        course.exitStatus = kError;
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
        processPath(course, prefix + name);
}

}  // namespace

int processFiles(const Options& options) {
    installSignalHandlers();
    Course course{options, Listing(options)};
    if (options.files.empty()) processPath(course, "-");
    for (const std::string& path : options.files)
        processPath(course, path);
    course.listing.finish();
    return course.exitStatus;
}

}  // namespace tool
