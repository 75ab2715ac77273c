#include "app/recording/redaction/spellings.h"

#include "app/recording/redaction/characters.h"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

namespace app {

namespace {

constexpr size_t UUID_LENGTH = 32; ///< without separators; of LVM's identifiers too
constexpr size_t PRINTED = 16; ///< bytes of a hardware address
constexpr size_t LONG = 12; ///< characters that are not a part of another word by chance
constexpr size_t SHORTEST_IN_HEX = 4; ///< an NVMe disk's serial number as digits of its characters

using Is = bool (*)(char);
using Write = std::string (*)(char);

std::string written(std::string_view text, Is is, Write write)
{
    std::string result;
    for (char const c : text)
        result += is(c) ? write(c) : std::string(1, c);
    return result;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isDash(char c)
{
    return c == '-';
}

bool isSeparator(char c)
{
    return !isAlphanumeric(c);
}

/** What proc(5) escapes in the tables of mounts. */
bool isEscapedByMounts(char c)
{
    return isBlank(c) || c == '\\' || c == '\n' || c == '#';
}

bool isEscapedInUrl(char c)
{
    return isNotAscii(c)
        || (!isAlphanumeric(c) && std::string_view("-._~").find(c) == std::string_view::npos);
}

std::string withHex(char c)
{
    return "\\x" + hexOf({&c, 1});
}

std::string withPercent(char c)
{
    return "%" + hexOf({&c, 1});
}

std::string withOctal(char c)
{
    auto const code = static_cast<unsigned char>(c);
    auto const digit = [&](unsigned shift) {
        return static_cast<char>('0' + (code >> shift & 7U));
    };
    return {'\\', digit(6), digit(3), digit(0)};
}

std::string underscore(char /*c*/)
{
    return "_";
}

std::string twice(char c)
{
    return {c, c};
}

/** As the document has it: DEL and the controls from U+0080 to U+009F escaped as well. */
std::string json(std::string_view text, bool ascii)
{
    using Json = nlohmann::json;
    std::string const quoted =
        Json(std::string(text)).dump(-1, ' ', ascii, Json::error_handler_t::replace);
    std::string result;
    for (char const c : quoted.substr(1, quoted.size() - 2)) {
        bool const isC1 =
            !result.empty() && result.back() == '\xC2' && static_cast<unsigned char>(c) < 0xA0;
        if (isC1)
            result.pop_back();
        result += isC1 || c == '\x7F' ? "\\u00" + hexOf({&c, 1}) : std::string(1, c);
    }
    return result;
}

/** Runs of blanks as one. */
std::string collapsed(std::string_view text)
{
    std::string result;
    for (char const c : text)
        if (!isBlank(c) || result.empty() || !isBlank(result.back()))
            result += c;
    return result;
}

/** The ways to write a text. They keep the length of a text of the same classes equal. */
std::vector<std::function<std::string(std::string_view)>> encodings()
{
    auto const by = [](Is is, Write write) {
        return [=](std::string_view text) { return written(text, is, write); };
    };
    return {
        [](std::string_view text) { return std::string(text); },
        by(isUnsafeForUdev, underscore),
        by(isBlank, underscore),
        [](std::string_view text) { return written(collapsed(text), isUnsafeForUdev, underscore); },
        by(isUnsafeForUdev, withHex),
        by(isSeparator, withHex),
        by([](char c) { return isNotAscii(c) || isSeparator(c); }, withHex),
        by(isDash, withHex),
        by(isEscapedByMounts, withOctal),
        by(isNotAscii, withOctal),
        by(isEscapedInUrl, withPercent),
        by(isBlank, withPercent),
        by(isDash, twice),
        [](std::string_view text) { return json(text, true); },
        [](std::string_view text) { return json(text, false); },
        // A path in /proc/mounts within JSON.
        [](std::string_view text) {
            return json(written(text, isEscapedByMounts, withOctal), false);
        },
        [](std::string_view text) { return json(written(text, isUnsafeForUdev, withHex), false); },
    };
}

/** Digits in groups. */
std::string grouped(std::string_view digits, std::vector<size_t> const& lengths, char separator)
{
    std::string result;
    for (size_t const length : lengths) {
        result += result.empty() ? "" : std::string(1, separator);
        result += digits.substr(0, length);
        digits.remove_prefix(std::min(length, digits.size()));
    }
    return result;
}

std::string pairs(std::string_view digits, char separator)
{
    return grouped(digits, std::vector<size_t>(digits.size() / 2, 2), separator);
}

std::string nibblesReversed(std::string_view digits)
{
    return grouped(
        std::string(digits.rbegin(), digits.rend()), std::vector<size_t>(digits.size(), 1), '.');
}

std::string dotted(AddressBytes const& address, char separator)
{
    std::string result;
    for (char const c : address)
        result += (result.empty() ? "" : std::string(1, separator))
            + std::to_string(static_cast<unsigned char>(c));
    return result;
}

/** Adds the patterns of one counter. */
class Spelling {
public:
    Spelling(TextReplacer& replacer, size_t counter) : m_replacer(replacer), m_counter(counter) { }

    void add(std::string const& from, std::string const& to, TextPattern::Border border,
        bool anyCase = true)
    {
        m_replacer.add({from, to, border, m_counter, anyCase});
    }

    void addEncoded(std::string const& from, std::string const& to, TextPattern::Border border)
    {
        static auto const ALL = encodings();
        for (auto const& encoding : ALL)
            add(encoding(from), encoding(to), border);
    }

    void addUuid(std::string const& from, std::string const& to)
    {
        std::vector<size_t> const usual = {8, 4, 4, 4, 12};
        auto const addBoth = [&](auto const& form) {
            add(form(from), form(to), TextPattern::NONE);
            if (isHex(from))
                add(form(swappedUuid(from)), form(swappedUuid(to)), TextPattern::NONE);
        };
        addBoth([&](std::string const& core) { return grouped(core, usual, '-'); });
        addBoth([&](std::string const& core) { return core; });
        addBoth([](std::string const& core) { return grouped(core, {6, 4, 4, 4, 4, 4, 6}, '-'); });
        addBoth([](std::string const& core) { return grouped(core, {8, 8, 8, 8}, ':'); });
        addBoth([](std::string const& core) {
            return pairs(core.substr(0, UUID_LENGTH / 2), ' ') + "-"
                + pairs(core.substr(UUID_LENGTH / 2), ' ');
        });
        addBoth([](std::string const& core) { return pairs(core, ' '); });
        add(written(grouped(from, usual, '-'), isDash, withHex),
            written(grouped(to, usual, '-'), isDash, withHex), TextPattern::NONE);
        if (!isHex(from))
            return;
        add(bytesOf(from), bytesOf(to), TextPattern::NONE, false);
        add(bytesOf(swappedUuid(from)), bytesOf(swappedUuid(to)), TextPattern::NONE, false);
    }

    void addHardware(AddressBytes const& from, AddressBytes const& to)
    {
        std::string const old = hexOf(from);
        std::string const other = hexOf(to);
        add(pairs(old, ':'), pairs(other, ':'), TextPattern::NUMBER6);
        for (char const separator : {'-', ' ', '_', '.'})
            add(pairs(old, separator), pairs(other, separator), TextPattern::WORD);
        std::vector<size_t> const quads(old.size() / 4, 4);
        for (char const separator : {'.', ':', '-'})
            add(grouped(old, quads, separator), grouped(other, quads, separator),
                TextPattern::WORD);
        add(old, other, TextPattern::NONE);
        // Of InfiniBand ifconfig prints the first 16 bytes.
        if (from.size() > PRINTED)
            add(pairs(old.substr(0, 2 * PRINTED), '-'), pairs(other.substr(0, 2 * PRINTED), '-'),
                TextPattern::WORD);
        for (auto const& write : {withHex, withPercent}) {
            auto const isColon = [](char c) { return c == ':'; };
            add(written(pairs(old, ':'), isColon, write),
                written(pairs(other, ':'), isColon, write), TextPattern::WORD);
        }
    }

    void addIpv4(AddressBytes const& from, AddressBytes const& to)
    {
        AddressBytes const reversedFrom(from.rbegin(), from.rend());
        AddressBytes const reversedTo(to.rbegin(), to.rend());
        add(dotted(from, '.'), dotted(to, '.'), TextPattern::NUMBER4);
        add(dotted(from, '-'), dotted(to, '-'), TextPattern::WORD);
        add(dotted(from, '_'), dotted(to, '_'), TextPattern::WORD);
        add(dotted(reversedFrom, '.'), dotted(reversedTo, '.'), TextPattern::NUMBER4);
        add(pairs(hexOf(from), ':'), pairs(hexOf(to), ':'), TextPattern::NUMBER6);
        add(pairs(hexOf(from), '-'), pairs(hexOf(to), '-'), TextPattern::WORD);
        // "0A000000" may be any number.
        if (std::count(from.begin(), from.end(), '\0') > 1)
            return;
        add(hexOf(from), hexOf(to), TextPattern::WORD);
        add(hexOf(reversedFrom), hexOf(reversedTo), TextPattern::WORD);
        add("0x" + hexOf(from), "0x" + hexOf(to), TextPattern::WORD);
        add("0x" + hexOf(reversedFrom), "0x" + hexOf(reversedTo), TextPattern::WORD);
    }

    void addIpv6(AddressBytes const& from, AddressBytes const& to)
    {
        std::string const full = grouped(hexOf(from), std::vector<size_t>(8, 4), ':');
        std::string const fullTo = grouped(hexOf(to), std::vector<size_t>(8, 4), ':');
        add(full, fullTo, TextPattern::NUMBER6);
        for (char const separator : {':', '-'})
            add(pairs(hexOf(from), separator), pairs(hexOf(to), separator), TextPattern::WORD);
        add(hexOf(from), hexOf(to), TextPattern::NONE);
        add(nibblesReversed(hexOf(from)), nibblesReversed(hexOf(to)), TextPattern::WORD);
    }

private:
    TextReplacer& m_replacer;
    size_t m_counter;
};

void addValue(Spelling& spelling, RedactedValues const& values, RedactedValue const& value)
{
    bool const isEverywhere = values.isEverywhere(value);
    auto const border =
        isName(value.kind) || value.text.size() < LONG ? TextPattern::WORD : TextPattern::NONE;
    for (std::string const& form : value.forms) {
        std::string const to =
            isName(value.kind) ? value.replacement : filled(form, value.replacement);
        for (auto const& [before, behind] : value.places)
            spelling.addEncoded(std::string(before).append(form).append(behind),
                std::string(before).append(to).append(behind), TextPattern::WORD);
        if (!isEverywhere)
            continue;
        spelling.addEncoded(form, to, border);
        if (!isName(value.kind) && value.text.size() >= SHORTEST_IN_HEX)
            spelling.add(hexOf(form), hexOf(to), TextPattern::NONE);
    }
    if (!isEverywhere || isName(value.kind))
        return;
    if (value.text.size() == UUID_LENGTH)
        spelling.addUuid(value.text, value.replacement);
    spelling.add(value.text, value.replacement, border);
}

}

std::string addressTextLike(std::string_view form, AddressBytes const& address)
{
    constexpr size_t GROUPS = 8;
    constexpr size_t DIGITS = 4;
    if (form.find('.') != std::string_view::npos) {
        std::string const groups = addressTextLike(
            std::string(form.substr(0, form.rfind(':') + 1)) + "0000:0000", address);
        return groups.substr(0, groups.rfind(':', groups.rfind(':') - 1) + 1)
            + dotted(address.substr(address.size() - 4), '.');
    }
    size_t given = 0;
    for (size_t i = 0; i < form.size(); ++i)
        given += form[i] != ':' && (i == 0 || form[i - 1] == ':') ? 1 : 0;
    std::string const digits = hexOf(address);
    std::string text;
    size_t group = 0;
    for (size_t i = 0; i < form.size() && group <= GROUPS;) {
        if (form[i] == ':') {
            text += ':';
            group += form.substr(i, 2) == "::" ? GROUPS - std::min(given, GROUPS) : 0;
            ++i;
            continue;
        }
        size_t const end = std::min(form.find(':', i), form.size());
        std::string value = digits.substr(group * DIGITS, DIGITS);
        size_t const zeros = std::min(value.find_first_not_of('0'), DIGITS - 1);
        text += value.substr(std::min(zeros, DIGITS - std::min(end - i, DIGITS)));
        ++group;
        i = end;
    }
    return text;
}

std::vector<RedactedKind> addSpellings(
    RedactedValues& values, TextReplacer& replacer, TextReplacer& routes)
{
    std::vector<RedactedKind> kinds;
    auto const begin = [&](RedactedKind kind) {
        kinds.push_back(kind);
        return Spelling(replacer, kinds.size() - 1);
    };
    for (AddressBytes const& address : values.addresses.hardware())
        begin(RedactedKind::MAC_ADDRESS)
            .addHardware(address, values.addresses.replacedHardware(address));
    for (AddressBytes const& address : values.addresses.ips()) {
        AddressBytes const other = values.addresses.replacedIp(address);
        Spelling spelling = begin(RedactedKind::IP_ADDRESS);
        if (address.size() != 4) {
            spelling.addIpv6(address, other);
        } else {
            spelling.addIpv4(address, other);
            AddressBytes const reversed(address.rbegin(), address.rend());
            std::string to = hexOf(AddressBytes(other.rbegin(), other.rend()));
            std::transform(to.begin(), to.end(), to.begin(), toUpper); // As the kernel writes them.
            routes.add({hexOf(reversed), to, TextPattern::WORD, kinds.size() - 1});
        }
        for (std::string const& text : values.addressTexts[address])
            spelling.add(text, addressTextLike(text, other), TextPattern::NUMBER6);
    }
    for (auto const& [key, host] : values.hosts())
        begin(host.kind).addEncoded(host.text, host.replacement, TextPattern::WORD);
    for (auto const& [key, path] : values.paths())
        begin(path.kind).addEncoded(path.text, path.replacement, TextPattern::WORD);
    for (auto const& [key, value] : values.values()) {
        Spelling spelling = begin(value.kind);
        addValue(spelling, values, value);
    }
    return kinds;
}

}
