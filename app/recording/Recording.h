#pragma once

#include <cstdint>
#include <string>
#include <vector>

/** A machine's recording: what the queries of this program and of the library read on it, so that
 * they can answer from it on another machine. Without I/O. */
namespace app {

/** A file that a query opened, listed, or looked for. */
struct RecordedFile {
    /** What stands at the path. A device, a FIFO and a socket have no content here. */
    enum Kind { REGULAR, FOLDER, LINK, BLOCK_DEVICE, OTHER, ABSENT };

    std::string path; ///< absolute, without "." and ".."
    Kind kind = ABSENT;
    unsigned mode = 0; ///< the permissions, stat(2)
    uint64_t size = 0; ///< bytes that the file had; more than in `content` where it was cut
    std::string content; ///< of a regular file that was opened; the target of a link
    int error = 0; ///< the errno of open(2) or read(2); 0 where it could be read
    bool opened = false; ///< false where only its name, kind or target was asked for
    std::vector<std::string> queries; ///< the subjects that asked for it, "disks"
};

/** A run of a tool. */
struct RecordedTool {
    std::vector<std::string> command; ///< its arguments; "sh", "-c" and a line for a shell's
    std::string output; ///< at most MOST_CONTENT bytes of each
    std::string errors;
    uint64_t outputSize = 0; ///< bytes that it wrote; more than in `output` where it was cut
    uint64_t errorsSize = 0;
    int status = 0; ///< as waitpid(2) has it; -1 where the tool did not end in time
    double seconds = 0; ///< its duration
    std::vector<std::string> queries;
};

/** How many facts of a kind were replaced. */
struct Replacement {
    std::string kind; ///< "mac_address"
    uint64_t values = 0; ///< different ones
    uint64_t occurrences = 0;
};

struct Recording {
    static constexpr uint64_t MOST_CONTENT = uint64_t{1024} * 1024; ///< bytes of an item

    std::string version; ///< of the program that recorded
    std::string architecture; ///< of that program: "i386", "amd64"
    int64_t time = 0; ///< of the recording, seconds since 1970
    unsigned user = 0; ///< the effective user id
    std::vector<RecordedFile> files; ///< sorted by path, each path once
    /** Files that are read a second time after a second, as they were then: /proc/stat. */
    std::vector<RecordedFile> later;
    std::vector<RecordedTool> tools;
    /** The answers of the calls that read no file, a line each:
     * "statvfs / 4096 4096 100 50 40 1000 900". */
    std::vector<std::string> answers;
    std::string document; ///< the recorded machine's own `all --json`
    bool redacted = false;
    std::vector<Replacement> replacements;
};

}
