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

/** Failures that errno(3) has no number for; this file's functions store them in errno, too. */
enum FileError { NO_REGULAR_FILE = 10000, EMPTY_FILE, NO_NUMBER, NUMBER_TOO_LARGE, NO_VALUE };

/** @return the description of a value of errno. */
std::string errorText(int error);

/**
 * @return the decimal number in the first line. Nothing where there is no such number, or none up
 * to @p largest; the file then counts as unreadable.
 *
 * @param unknown the word that the kernel writes for a number that it does not know.
 */
std::optional<uint64_t> readNumber(
    std::string const& path, uint64_t largest = UINT64_MAX, char const* unknown = nullptr);

/** @return whether the number is not 0; nothing where there is none. */
std::optional<bool> readFlag(std::string const& path);

bool exists(std::string const& path);

/** @return the names in a folder but "." and "..", in natural order. Nothing, with errno set, where
 * it cannot be read. A folder that can be read in part gives that part and counts as unreadable. */
std::optional<std::vector<std::string>> namesIn(std::string const& folder);

/** @return the absolute path without links; nothing where the path leads nowhere. realpath(3). */
std::optional<std::string> resolved(std::string const& path);

/** Notes that a file has no value that a program can use. @param error an errno or a FileError. */
void noteUnusable(std::string const& path, int error);

/**
 * Notes the files and folders that exist and cannot be read, while it lives.
 *
 * The functions above return nothing for a file that this machine does not have, for one that has
 * no value (a driver refuses to read it), and for one that cannot be read (EACCES, EIO ...) or has
 * something else than its value. Only the last two are a problem. Of several objects the latest one
 * notes. In one thread.
 */
class UnreadableFiles {
public:
    UnreadableFiles();
    UnreadableFiles(UnreadableFiles const&) = delete;
    UnreadableFiles& operator=(UnreadableFiles const&) = delete;
    ~UnreadableFiles();

    struct File {
        std::string path;
        int error; ///< An errno or a FileError.
    };
    std::vector<File> files; ///< Each path once.

private:
    UnreadableFiles* const m_outer;
};

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
