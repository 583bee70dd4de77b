// An output file that has its name only once it is complete.
#pragma once

#include <sys/stat.h>

#include <string>

namespace tool {

class OutputFile {
  public:
    // Creates a file with a temporary name beside `path`.
    explicit OutputFile(const std::string& path);
    // Removes it, unless it has been committed.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    int descriptor() const { return descriptor_; }
    // Gives the file mode and owner of another, and its times.
    void copyAttributes(const struct stat& like);
    void setModified(time_t time);
    // For a file without a model: what the process creates files with.
    void setDefaultMode();
    // Brings the content to the disk.
    void sync();
    // Gives the file its name, which may be that of a present file only if `replace` is set.
    void commit(const std::string& path, bool replace);

  private:
    std::string temporary_;
    int descriptor_ = -1;
};

// Signals that end the process remove the temporary file first; a file that exceeds the size limit
// is reported as an error of writing.
void installSignalHandlers();

}  // namespace tool
