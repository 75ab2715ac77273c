// Look-ups and Dump.

#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/parse_ini.h"
#include "tests/common/basic/string_fields.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

using dovrel::IniFile;
using dovrel::string;

namespace {

std::string valuesOf(IniFile const& file, wchar_t const* section)
{
    std::string values;
    for (string const& value : file.ReadSectionValues(section))
        values += narrow(value) + '\n';
    return values;
}

std::string namesOf(IniFile const& file)
{
    std::string names;
    for (string const& name : file.ReadSectionNames())
        names += '<' + narrow(name) + '>';
    return names;
}

std::string dumpOf(IniFile const& file, wchar_t const* name)
{
    std::ostringstream out;
    file.Dump(out, name);
    return out.str();
}

long intFrom(std::string const& value)
{
    return parseIni("k=" + value).ReadInt(L"", L"k", -77);
}

bool boolFrom(std::string const& value, bool defaultValue)
{
    return parseIni("k=" + value).ReadBool(L"", L"k", defaultValue);
}

}

TEST(IniLookup, ignoresCaseInSectionsAndKeys)
{
    IniFile const file = parseIni("[Main]\nValue=TRUE\n");
    EXPECT_TRUE(file.ReadBool(L"main", L"value", false));
    EXPECT_EQ(file.ReadString(L"MAIN", L"vALUE", L""), string(L"TRUE"));
    EXPECT_TRUE(file.SectionExists(L"mAIN"));
}

TEST(IniLookup, matchesOnlyWholeNames)
{
    IniFile const file = parseIni("[Main]\nValue=1\n[Main 2]\nOther=2\n");
    for (wchar_t const* key : {L"Valu", L"Value ", L"Values", L"", L"Other"})
        EXPECT_EQ(file.ReadString(L"Main", key, L"none"), string(L"none")) << string(key);
    for (wchar_t const* section : {L"Mai", L"Main ", L"Main 3", L"", L"[Main]"})
        EXPECT_EQ(file.ReadString(section, L"Value", L"none"), string(L"none")) << string(section);
}

TEST(IniLookup, leavesTheOutputUnchangedWhenTheKeyIsMissing)
{
    IniFile const file = parseIni("[Main]\nk=\n");
    string out(L"former");
    EXPECT_FALSE(file.lookupString(L"Main", L"l", out));
    EXPECT_FALSE(file.lookupString(L"Other", L"k", out));
    EXPECT_EQ(out, string(L"former"));
    EXPECT_TRUE(file.lookupString(L"Main", L"k", out));
    EXPECT_TRUE(out.empty());
}

TEST(IniLookup, returnsAnEmptyValueInsteadOfTheDefault)
{
    IniFile const file = parseIni("k=\n");
    EXPECT_TRUE(file.ReadString(L"", L"k", L"fallback").empty());
    EXPECT_EQ(file.ReadString(L"", L"l", L"fallback"), string(L"fallback"));
}

TEST(IniLookup, returnsLongValuesInFull)
{
    std::string const section(300, 's');
    std::string const key(300, 'k');
    std::string const value(300, 'v');
    IniFile const file = parseIni('[' + section + "]\n" + key + '=' + value + '\n');
    EXPECT_EQ(narrow(file.ReadString(section, key, L"")), value);
    EXPECT_EQ(valuesOf(file, string(section).c_str()), key + '=' + value + '\n');
}

TEST(ReadInt, readsADecimalNumberAndIgnoresTheRest)
{
    EXPECT_EQ(intFrom("42"), 42);
    EXPECT_EQ(intFrom("-42"), -42);
    EXPECT_EQ(intFrom("+42"), 42);
    EXPECT_EQ(intFrom("\"  42\""), 42);
    EXPECT_EQ(intFrom("42 files"), 42);
    EXPECT_EQ(intFrom("42.9"), 42);
    EXPECT_EQ(intFrom("0042"), 42);
    EXPECT_EQ(intFrom("0x1F"), 0);
}

TEST(ReadInt, returnsTheDefaultWhenThereIsNoNumber)
{
    for (std::string const value : {"", "x", "-", "+ 1", "\"  \"", "true", ".5", "--1"})
        EXPECT_EQ(intFrom(value), -77) << value;
    EXPECT_EQ(parseIni("k=1").ReadInt(L"", L"l", 5), 5);
    EXPECT_EQ(parseIni("k=1").ReadInt(L"s", L"k", 5), 5);
}

TEST(ReadInt, returnsTheDefaultOutsideTheRangeOfLong)
{
    constexpr long LARGEST = std::numeric_limits<long>::max();
    constexpr long SMALLEST = std::numeric_limits<long>::min();
    EXPECT_EQ(intFrom(std::to_string(LARGEST)), LARGEST);
    EXPECT_EQ(intFrom(std::to_string(SMALLEST)), SMALLEST);
    EXPECT_EQ(intFrom(std::to_string(LARGEST) + '0'), -77);
    EXPECT_EQ(intFrom(std::to_string(SMALLEST) + '0'), -77);
}

TEST(ReadBool, returnsTrueOnlyForTrueAndOne)
{
    for (std::string const value : {"true", "TRUE", "True", "tRuE", "1", "\"true\"", "'1'"})
        for (bool const defaultValue : {false, true})
            EXPECT_TRUE(boolFrom(value, defaultValue)) << value;
    for (std::string const value : {"yes", "on", "y", "t", "tru", "truer", "true 1", "01", "1.0",
             "11", "2", "-1", "0", "false", "", "\" true\""})
        for (bool const defaultValue : {false, true})
            EXPECT_FALSE(boolFrom(value, defaultValue)) << value;
}

TEST(ReadBool, returnsTheDefaultOnlyForAMissingKey)
{
    EXPECT_TRUE(parseIni("k=0").ReadBool(L"", L"l", true));
    EXPECT_FALSE(parseIni("k=1").ReadBool(L"", L"l", false));
}

TEST(ReadSectionNames, listsOnlySectionsThatHaveEntries)
{
    IniFile const file = parseIni("k=0\n[b]\n[a]\nk=1\n[c]\nk=2\n[d]\n; k=3\n");
    EXPECT_EQ(namesOf(file), "<><a><c>");
    EXPECT_TRUE(file.SectionExists(L""));
    EXPECT_TRUE(file.SectionExists(L"c"));
    EXPECT_FALSE(file.SectionExists(L"b"));
    EXPECT_FALSE(file.SectionExists(L"d"));
    EXPECT_FALSE(parseIni("[a]\nk=1\n").SectionExists(L""));
}

TEST(ReadSectionNames, listsASectionOncePerSpellingKept)
{
    IniFile const file = parseIni("[main]\nk=1\n[Main]\nl=2\n[Zoo]\nm=1\n");
    EXPECT_EQ(namesOf(file), "<Main><Zoo><main>");
    EXPECT_EQ(valuesOf(file, L"MAIN"), "k=1\nl=2\n");
}

TEST(ReadSectionNames, omitsASpellingWithoutAnEntryOfItsOwn)
{
    EXPECT_EQ(namesOf(parseIni("[main]\nk=1\n[Main]\nK=2\n")), "<main>");
}

TEST(ReadSectionNames, keepsTheSpellingOfTheFirstAssignment)
{
    EXPECT_EQ(namesOf(parseIni("[A]\nx=1\n[a]\ny=1\nx=2\n[A]\ny=2\n")), "<A><a>");
    EXPECT_EQ(valuesOf(parseIni("[A]\nx=1\n[a]\nX=2\n"), L"a"), "x=1\n");
}

TEST(ReadSectionValues, sortsByKeyAndIgnoresCase)
{
    IniFile const file = parseIni("[s]\nb=1\nC=2\na=3\nB2=4\n=5\n_=6\n10=7\n9=8\nAa=9\n");
    EXPECT_EQ(valuesOf(file, L"S"), "=5\n10=7\n9=8\n_=6\na=3\nAa=9\nb=1\nB2=4\nC=2\n");
}

TEST(ReadSectionValues, sortsKeysBeyondAsciiByCharacterCode)
{
    LocaleScope const locale("C.UTF-8");
    IniFile const file = parseIni("\xF0\x9F\x98\x80=4\n\xEF\xBF\xBD=3\nz=1\n\xC3\xA4=2\n");
    EXPECT_EQ(valuesOf(file, L""), "z=1\n\xC3\xA4=2\n\xEF\xBF\xBD=3\n\xF0\x9F\x98\x80=4\n");
}

TEST(ReadString, missesTheKeyIOfAFileThatWasReadInATurkishLocale)
{
    std::unique_ptr<IniFile const> file;
    {
        LocaleScope const turkish("ISO-8859-9");
        file = std::make_unique<IniFile const>(parseIni("[s]\nI=1\nk=2\n"));
        EXPECT_EQ(narrow(file->ReadString(L"s", L"I", L"none")), "1");
    }
    EXPECT_EQ(narrow(file->ReadString(L"s", L"I", L"none")), "none");
    EXPECT_EQ(narrow(file->ReadString(L"s", L"i", L"none")), "none");
    EXPECT_EQ(narrow(file->ReadString(L"S", L"K", L"none")), "2");
    // A look-up in the Turkish locale finds ASCII keys that were read in another.
    file = std::make_unique<IniFile const>(parseIni("[s]\nI=1\n"));
    LocaleScope const turkish("ISO-8859-9");
    EXPECT_EQ(narrow(file->ReadString(L"s", L"I", L"none")), "1");
    EXPECT_EQ(narrow(file->ReadString(L"s", L"i", L"none")), "1");
}

TEST(ReadSectionValues, returnsNothingForAMissingSection)
{
    IniFile const file = parseIni("[s]\nk=1\n");
    EXPECT_TRUE(file.ReadSectionValues(L"t").empty());
    EXPECT_TRUE(file.ReadSectionValues(L"").empty());
}

TEST(Dump, listsAllSectionsForAnAsterisk)
{
    IniFile const file = parseIni("free=1\n[b]\nx = 2\n[a]\nz=\ny=\"q\"\n");
    EXPECT_EQ(dumpOf(file, L"*"), "Dumping entries: *\nfree=1\n[a]\ny=q\nz=\n[b]\nx=2\n");
}

TEST(Dump, listsOneSectionUnderTheGivenName)
{
    IniFile const file = parseIni("free=1\n[Main]\nx=2\n[a]\ny=3\n");
    EXPECT_EQ(dumpOf(file, L"MAIN"), "Dumping entries: MAIN\n[MAIN]\nx=2\n");
    EXPECT_EQ(dumpOf(file, L"none"), "Dumping entries: none\n[none]\n");
}

TEST(Dump, listsEntriesOutsideAnySectionWithoutAHeading)
{
    IniFile const file = parseIni("free=1\n[Main]\nx=2\n");
    EXPECT_EQ(dumpOf(file, L""), "Dumping entries: \nfree=1\n");
    EXPECT_EQ(dumpOf(parseIni("[Main]\nx=2\n"), L""), "Dumping entries: \n");
}

TEST(Dump, listsASectionOncePerSpellingKept)
{
    IniFile const file = parseIni("[main]\nk=1\n[Main]\nl=2\n");
    EXPECT_EQ(dumpOf(file, L"*"), "Dumping entries: *\n[Main]\nk=1\nl=2\n[main]\nk=1\nl=2\n");
}

TEST(Dump, writesOnlyTheTitleWhenThereAreNoEntries)
{
    EXPECT_EQ(dumpOf(parseIni(""), L"*"), "Dumping entries: *\n");
}

TEST(Dump, writesInTheLocalesEncoding)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(dumpOf(parseIni("[\xC3\xA4]\n\xC3\xB6=\xE2\x82\xAC\n"), L"*"),
        "Dumping entries: *\n[\xC3\xA4]\n\xC3\xB6=\xE2\x82\xAC\n");
}

TEST(IniFileCopy, hasTheEntriesAndOutlivesTheOriginal)
{
    auto const original = std::make_unique<IniFile const>(parseIni("[s]\nk=1\nlong key=2\n"));
    auto const copy = std::make_unique<IniFile const>(*original);
    EXPECT_EQ(dumpOf(*copy, L"*"), dumpOf(*original, L"*"));
    auto const second = std::make_unique<IniFile const>(*copy);
    EXPECT_EQ(second->size(), 2U);
    EXPECT_EQ(narrow(second->ReadString(L"S", L"LONG KEY", L"")), "2");
}

TEST(IniFileCopy, hasNoError)
{
    IniFile const original(L"/nowhere/at/all.ini", true, false, false);
    ASSERT_NE(original.savedError(), 0);
    IniFile const copy(original); // NOLINT(performance-unnecessary-copy-initialization): tried.
    EXPECT_EQ(copy.savedError(), 0);
    EXPECT_TRUE(copy.errorText().empty());
    EXPECT_EQ(copy.size(), 0U);
}
