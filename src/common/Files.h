#pragma once
// The files the program writes hold every employee's pay, so each one is written the same
// way, here and nowhere else:
//
// - to a new file in the target's folder, created 0600 and never through a link (an unnamed
//   file where the file system has them, else a hidden name opened with O_EXCL|O_NOFOLLOW);
// - every write, the sync and the close checked; a failure removes the new file and leaves the
//   target as it was;
// - renamed over the target only when complete, so a link planted at the target is replaced,
//   never written through; a replaced file keeps its mode, a new one stays 0600;
// - a device or a pipe (/dev/stdout, /dev/full) is written in place, every write checked.
//
// Standard output is checked the same way: a full disk or a closed pipe is an error, not a
// short file. State folders (the error log's, the demo database's) are made 0700 and refused
// when another user owns them or anyone may write to them.
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace common {

// A file or folder that cannot be written: the message names it and the cause.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class OutputFile {
public:
    enum class Target {
        Replace,        // rename over whatever the name holds (a file or a link)
        Create,         // an existing name is refused and left alone
        StandardOutput  // the process's standard output; path is ignored
    };
    // Opens the new file beside path. Raises FileError.
    explicit OutputFile(std::string path, Target target = Target::Replace);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    // Without commit the new file goes and the target stays as it was.
    ~OutputFile();

    // Buffered; a failure shows at the next flush or commit.
    std::ostream& stream();
    void write(std::string_view bytes) {
        stream().write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // Writes out what is buffered; raises FileError when the system refused it.
    void flush();
    // For a file written as it goes (a trace): gives it its name now, so that whatever was
    // written before a crash is there; later writes land in the named file.
    void publish();
    // Flushes, syncs and closes the file and gives it its name. Raises FileError; the new
    // file is then gone and the target as it was.
    void commit();

    const std::string& path() const { return path_; }

private:
    class Buffer;
    void fail(int error);
    void name();
    void discard();

    std::string path_;
    Target target_;
    int fd_ = -1;
    std::string temporary_;  // the hidden name while the file has one, else empty
    bool named_ = false;
    bool device_ = false;  // a device or pipe, written in place
    std::unique_ptr<Buffer> buffer_;
    std::unique_ptr<std::ostream> stream_;
};

// Appends to a file that only its owner may read and write (the error log): created 0600,
// never through a link. Raises FileError.
void appendPrivate(const std::string& path, std::string_view bytes);

// Makes path a folder that only this user can use: missing folders are created 0700. Raises
// FileError when it is not a folder, belongs to another user or anyone may write to it.
void makePrivateFolder(const std::string& path);
// The same checks without creating anything.
void checkPrivateFolder(const std::string& path);

}  // namespace common
