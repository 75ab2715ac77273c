#pragma once

#include <string>
#include <string_view>
#include <vector>

/** The lines in which a recording has the answers of calls: words between blanks. */
namespace app {

/** @return the text as one word: as it is, or where it is empty or has blanks, quotation marks,
 * backslashes or control characters, in double quotes, with `\"`, `\\` and each control character
 * as a backslash and three octal digits. */
std::string asWord(std::string_view text);

/** @return the words of a line; a quoted one as the text that it stands for. @throws
 * std::runtime_error where a quotation does not end, or an escape is none of the above. */
std::vector<std::string> wordsOfLine(std::string_view line);

/** @return "EACCES"; EIO for an error that has no name. errno(3). */
std::string errorName(int error);

/** @return 0 where no error has the name. */
int errorNumber(std::string const& name);

}
