#pragma once

#include <stdexcept>
#include <string>

namespace app {

/** The file could not be written; the message names it and the reason. */
class OutputFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * The file of `--output`, which is replaced in one step: a reader finds the former content or the
 * new one, and nothing is left beside it where the program fails or is ended.
 */
class OutputFile {
public:
    /**
     * Opens the file's folder.
     *
     * Anything but a regular file is refused, a symbolic link too: the link would be replaced, not
     * the file that it leads to.
     *
     * @throws OutputFileError
     */
    explicit OutputFile(std::string path);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    ~OutputFile();

    /**
     * Replaces the file. A new one has mode 0644 whatever the umask is: a monitoring agent reads it
     * as another user. A file that fewer users could read stays so.
     *
     * SIGINT, SIGTERM and SIGHUP take effect afterwards. SIGKILL leaves a temporary file only
     * between linkat(2) and rename(2), or where the filesystem has no O_TMPFILE, open(2).
     *
     * @throws OutputFileError
     */
    void write(std::string const& text) const;

private:
    [[noreturn]] void fail(std::string const& reason) const;

    std::string m_path;
    std::string m_name; // In its folder.
    int m_folder = -1;
    unsigned m_mode = 0644;
};

}
