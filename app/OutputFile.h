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
 * A file that the user names, `--output FILE`, which is written in one step: a reader finds the
 * former content or the new one, and nothing is left beside it where the program fails or is ended.
 */
class OutputFile {
public:
    enum Existing { REPLACED, KEPT };

    /**
     * Opens the file's folder.
     *
     * Anything but a regular file is refused, a symbolic link too: the link would be replaced, not
     * the file that it leads to.
     *
     * @param mode of a new file whatever the umask is. Everybody may read facts: a monitoring agent
     * is another user. A file that fewer users could read stays so.
     * @param existing what happens to a file that exists; KEPT: it is refused, also where it
     * appears only before the writing
     * @throws OutputFileError
     */
    explicit OutputFile(std::string path, unsigned mode = 0644, Existing existing = REPLACED);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    ~OutputFile();

    /**
     * Writes the file.
     *
     * SIGINT, SIGTERM and SIGHUP take effect afterwards. SIGKILL leaves a temporary file only
     * between linkat(2) and rename(2), where a file is replaced, or where the filesystem has no
     * O_TMPFILE, open(2).
     *
     * @throws OutputFileError
     */
    void write(std::string const& text) const;

private:
    [[noreturn]] void fail(std::string const& reason) const;

    std::string m_path;
    std::string m_name; // In its folder.
    int m_folder = -1;
    unsigned m_mode;
    Existing m_existing;
};

}
