#pragma once

#include <string>
#include <vector>

namespace testkit {

/**
 * The files and tools of a fake machine with a disk, a volume group, two processors, two adapters
 * and a recovery, for a process that replaces them while another one reads them.
 */
class ReplacedFiles {
public:
    ReplacedFiles();

    /** Writes all files as they are on the intact machine. */
    void restore() const;

    /** Replaces one file after the other, by rename(2), by overwriting it in two steps, and by
     * removing it first. Ends the process, with all files restored, when the writers of the pipe
     * @p stop are closed; its exit status is 0 unless a step failed. */
    [[noreturn]] void replaceUntilClosed(int stop) const;

private:
    struct Entry {
        std::string path;
        std::string intact;
        std::string other;
        unsigned mode;
    };

    void file(std::string const& path, std::string const& intact, std::string const& other);
    void tool(std::string const& path, std::string const& intact, std::string const& other);

    std::vector<Entry> m_entries;
};

}
