#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/** Access to the files in which the kernel and the system publish facts. No function blocks: what
 * is no regular file, a FIFO for example, cannot be read. */
namespace app {

/** @return the whole file. Nothing, with errno set, where it cannot be read or is larger than 16
 * MiB (EFBIG), which no file of the kernel is. */
std::optional<std::string> readFile(std::string const& path);

/** @return the first line without blanks around it; nothing where it is empty or unreadable. */
std::optional<std::string> readLine(std::string const& path);

/** @return the decimal number in the first line; nothing where there is no such number. */
std::optional<uint64_t> readNumber(std::string const& path);

/** @return whether the number is not 0; nothing where there is none. */
std::optional<bool> readFlag(std::string const& path);

bool exists(std::string const& path);

/** @return the names in a folder but "." and "..", in natural order. Nothing, with errno set, where
 * it cannot be read. */
std::optional<std::vector<std::string>> namesIn(std::string const& folder);

/** @return the absolute path without links; nothing where the path leads nowhere. realpath(3). */
std::optional<std::string> resolved(std::string const& path);

/**
 * Notes the files and folders that exist and cannot be read, while it lives.
 *
 * The functions above return nothing for a file that this machine does not have, for one that has
 * no value (a driver refuses to read it), and for one that cannot be read (EACCES, EIO ...). Only
 * the last is a problem. Of several objects the latest one notes. In one thread.
 */
class UnreadableFiles {
public:
    UnreadableFiles();
    UnreadableFiles(UnreadableFiles const&) = delete;
    UnreadableFiles& operator=(UnreadableFiles const&) = delete;
    ~UnreadableFiles();

    struct File {
        std::string path;
        int error; ///< errno
    };
    std::vector<File> files; ///< Each path once.

private:
    UnreadableFiles* const m_outer;
};

/** @return the part of a path behind its last slash. */
std::string baseName(std::string const& path);

/** @return the lines without their newlines. */
std::vector<std::string> linesOf(std::string const& text);

/** @return the words between blanks, tabs and newlines. */
std::vector<std::string> wordsOf(std::string const& text);

/** @return the text without blanks, tabs, newlines and NUL bytes around it. */
std::string trimmed(std::string const& text);

/** @return nothing where the text is empty. */
std::optional<std::string> known(std::string const& text);

/** @return the whole text as a number; nothing where it is none or passes 64 bits. */
std::optional<uint64_t> numberOf(std::string const& text, int base = 10);

/**
 * Resolves the octal escapes in a name of /proc/mounts.
 *
 * The kernel writes a backslash and three octal digits for each blank, tab, newline, backslash and
 * '#' in a name; proc(5) and getmntent(3).
 */
std::string decodeOctal(std::string const& text);

}
