#include "app/recording/redaction/escape_codes.h"
#include "app/recording/redaction/find_values.h"

namespace app {

namespace {

using Kind = RedactedKind;

/** Folders whose folders belong to a user each. */
constexpr char const* HOMES[] = {"/home/", "/@home/", "/homes/", "/Users/", "/users/"};

constexpr char const* PATH_ENDS = " \t\"',:;)]}";

std::string_view firstName(std::string_view path)
{
    return path.substr(0, path.find('/'));
}

void findInHome(std::string_view path, std::string_view home, RedactedValues& values)
{
    std::string_view const user = firstName(path.substr(home.size()));
    if (user.empty() || user[0] == '$')
        return;
    values.add(Kind::USER_NAME, user, home);
    values.addPath(Kind::USER_NAME, path, home.size());
}

/** /media/USER/LABEL, /run/media/USER/LABEL, and /media/LABEL of older systems. */
void findInMedia(std::string_view path, std::string_view media, RedactedValues& values)
{
    std::string_view const first = firstName(path.substr(media.size()));
    std::string_view rest = path.substr(media.size() + first.size());
    bool const hasTwo = rest.size() > 1 && rest[0] == '/';
    if (first.empty())
        return;
    values.add(hasTwo ? Kind::USER_NAME : Kind::VOLUME_LABEL, first, media);
    if (!hasTwo)
        return;
    values.add(Kind::VOLUME_LABEL, firstName(rest.substr(1)));
    values.addPath(Kind::USER_NAME, path, media.size());
}

/** Calls @p take with each rest of the text that begins with the folder. */
template <class Take>
void forEachPlace(std::string_view text, std::string_view folder, Take const& take)
{
    for (size_t place = text.find(folder); place != std::string_view::npos;
         place = text.find(folder, place + 1))
        take(text.substr(place));
}

}

void findInPath(std::string_view path, RedactedValues& values)
{
    for (std::string_view const home : HOMES)
        forEachPlace(path, home, [&](std::string_view rest) { findInHome(rest, home, values); });
    forEachPlace(
        path, "/media/", [&](std::string_view rest) { findInMedia(rest, "/media/", values); });
    constexpr std::string_view ROOTS = "/root/";
    forEachPlace(path, ROOTS,
        [&](std::string_view rest) { values.addPath(Kind::USER_NAME, rest, ROOTS.size()); });
}

void findPaths(std::string_view line, RedactedValues& values)
{
    for (size_t begin = line.find('/'); begin < line.size(); begin = line.find('/', begin)) {
        std::string_view const word =
            line.substr(begin, line.find_first_of(PATH_ENDS, begin) - begin);
        findInPath(decoded(word), values);
        begin += word.size();
    }
}

}
