#include "app/recording/redaction/redaction.h"
#include "tests/app/recording/RandomMachine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <unordered_map>

using app_recording_test::allTexts;
using app_recording_test::hexText;
using app_recording_test::ipBytes;
using app_recording_test::lower;
using app_recording_test::RandomMachine;
using app_recording_test::without;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

/** Finds texts fast. */
class Haystack {
public:
    explicit Haystack(std::string text) : m_text(std::move(text))
    {
        for (size_t i = 0; i + KEY <= m_text.size(); ++i)
            m_places[keyAt(m_text, i)].push_back(static_cast<unsigned>(i));
    }

    /** @return the place with what stands around it; empty: not found. A number must not stand
     * within another one. */
    std::string find(std::string const& needle, bool isNumber = false) const
    {
        auto const found = m_places.find(keyAt(needle, 0));
        if (needle.size() < KEY || found == m_places.end())
            return {};
        auto const isPart = [&](size_t place) {
            char const c = place < m_text.size() ? m_text[place] : ' ';
            return isNumber && ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'));
        };
        for (unsigned const place : found->second)
            if (m_text.compare(place, needle.size(), needle) == 0 && !isPart(place - 1U)
                && !isPart(place + needle.size()))
                return needle + " in " + m_text.substr(place - std::min(place, 60U), 120);
        return {};
    }

private:
    static constexpr size_t KEY = 4;

    static unsigned keyAt(std::string const& text, size_t place)
    {
        unsigned key = 0;
        std::memcpy(&key, text.c_str() + place, std::min(KEY, text.size() - place));
        return key;
    }

    std::string m_text;
    std::unordered_map<unsigned, std::vector<unsigned>> m_places;
};

std::string escaped(std::string const& text, std::string const& mark)
{
    std::string result;
    for (char const c : text)
        result += std::isalnum(static_cast<unsigned char>(c)) != 0 ? std::string(1, c)
                                                                   : mark + hexText({c});
    return result;
}

std::string withUnderscores(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == ' ' || c == '-' || c == ':'; }, '_');
    return text;
}

/** The digits of base64 that only this text has, wherever it begins within three bytes. */
std::vector<std::string> base64(std::string const& text)
{
    constexpr char const* DIGITS =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<std::string> results;
    for (size_t shift = 0; shift < 3; ++shift) {
        std::string digits;
        for (size_t i = shift; i + 3 <= text.size(); i += 3) {
            auto const byte = [&](size_t place) {
                return static_cast<unsigned>(static_cast<unsigned char>(text[i + place]));
            };
            unsigned const bits = byte(0) << 16U | byte(1) << 8U | byte(2);
            for (unsigned const place : {18U, 12U, 6U, 0U})
                digits += DIGITS[bits >> place & 63U];
        }
        results.push_back(lower(digits));
    }
    return results;
}

/** The spellings of any text. */
std::vector<std::string> spellings(std::string const& text)
{
    std::vector<std::string> all = {text, without("-:. ", text), withUnderscores(text),
        escaped(text, "\\x"), escaped(text, "%"), hexText(text)};
    for (std::string const& digits : base64(text))
        all.push_back(digits);
    for (std::string& one : all)
        one = lower(one);
    return all;
}

std::vector<std::string> addressSpellings(std::string const& text)
{
    std::string const bytes = ipBytes(text);
    std::string const turned(bytes.rbegin(), bytes.rend());
    std::vector<std::string> all = {text, hexText(bytes), hexText(turned)};
    if (bytes.size() == 4) {
        std::string octets;
        for (char const c : turned)
            octets += (octets.empty() ? "" : ".") + std::to_string(static_cast<unsigned char>(c));
        all.push_back(octets);
        std::replace(octets.begin(), octets.end(), '.', '-');
        all.push_back(octets);
    }
    return all;
}

/** A recording before and after its redaction. */
struct Redacted {
    RandomMachine machine;
    app::Recording recording = machine.recording;

    Redacted() { app::redact(recording); }
};

Redacted const& redacted()
{
    static Redacted const one;
    return one;
}

std::vector<std::string> leaksOf(std::vector<std::string> const& values)
{
    static Haystack const before(allTexts(redacted().machine.recording));
    static Haystack const after(allTexts(redacted().recording));
    std::vector<std::string> leaks;
    for (std::string const& value : values) {
        bool const isAddress = !ipBytes(value).empty();
        bool wasThere = false;
        for (std::string const& one : isAddress ? addressSpellings(value) : spellings(value)) {
            wasThere = wasThere || !before.find(one, isAddress).empty();
            if (std::string const leak = after.find(one, isAddress); !leak.empty())
                leaks.push_back(leak);
        }
        if (!wasThere)
            leaks.push_back("never recorded: " + value);
    }
    return leaks;
}

}

TEST(RedactionLeaks, serialNumbersDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.serials), IsEmpty());
}

TEST(RedactionLeaks, uuidsDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.uuids), IsEmpty());
    EXPECT_THAT(leaksOf(redacted().machine.lvmIds), IsEmpty());
}

TEST(RedactionLeaks, macAddressesDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.macs), IsEmpty());
    std::vector<std::string> halves;
    for (std::string const& mac : redacted().machine.macs)
        halves.push_back("fffe" + without(":", mac.substr(9)));
    EXPECT_THAT(leaksOf(halves), IsEmpty()) << "the halves of IPv6 addresses";
}

TEST(RedactionLeaks, ipv4AddressesDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.ipv4), IsEmpty());
}

TEST(RedactionLeaks, ipv6AddressesDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.ipv6), IsEmpty());
}

TEST(RedactionLeaks, hostNamesDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.hosts), IsEmpty());
}

TEST(RedactionLeaks, userNamesDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.users), IsEmpty());
}

TEST(RedactionLeaks, wwnsDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.wwns), IsEmpty());
}

TEST(RedactionLeaks, volumeLabelsDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.labels), IsEmpty());
}

TEST(RedactionLeaks, namesInMountsAndErrorsDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.folders), IsEmpty());
    EXPECT_THAT(leaksOf(redacted().machine.pools), IsEmpty());
    EXPECT_THAT(leaksOf(redacted().machine.containers), IsEmpty());
}

TEST(RedactionLeaks, textsOfTheFirmwareDoNotRemain)
{
    EXPECT_THAT(leaksOf(redacted().machine.notes), IsEmpty());
    std::vector<std::string> bytes;
    for (std::string const& note : redacted().machine.notes) {
        std::string pairs;
        for (char const c : note)
            pairs += hexText({c}) + " ";
        bytes.push_back(pairs);
    }
    EXPECT_THAT(leaksOf(bytes), IsEmpty());
}

TEST(RedactionLeaks, replacementsAreCountedByKind)
{
    std::map<std::string, app::Replacement> kinds;
    for (app::Replacement const& one : redacted().recording.replacements)
        kinds[one.kind] = one;
    EXPECT_TRUE(redacted().recording.redacted);
    EXPECT_THAT(kinds, SizeIs(8));
    for (char const* const kind : {"serial_number", "uuid", "mac_address", "ip_address",
             "host_name", "user_name", "wwn", "volume_label"}) {
        EXPECT_GE(kinds[kind].values, RandomMachine::COUNT) << kind;
        EXPECT_GE(kinds[kind].occurrences, 2 * RandomMachine::COUNT) << kind;
    }
}

TEST(RedactionLeaks, theDocumentStaysJson)
{
    auto const document = testkit::Json::parse(redacted().recording.document);
    EXPECT_THAT(document["disks"], SizeIs(RandomMachine::COUNT));
    EXPECT_NE(document["disks"][0]["serial"], redacted().machine.serials[0]);
}

TEST(RedactionLeaks, twoRedactionsDiffer)
{
    app::Recording other = redacted().machine.recording;
    app::redact(other);
    EXPECT_NE(other.document, redacted().recording.document);
}
