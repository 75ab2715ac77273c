// INI files of real machines: see captures_test.cpp.

#include "common/basic/IniFile.h"
#include "tests/common/basic/NaiveIni.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/captures.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using testkit::Captures;
using testkit::CaptureSource;

namespace {

/** The entries but those that other readers take for comments. */
size_t entriesWithoutHash(dovrel::IniFile const& file)
{
    size_t entries = 0;
    for (dovrel::string const& section : file.ReadSectionNames())
        for (dovrel::string const& value : file.ReadSectionValues(section))
            entries += *value.c_str() != L'#';
    return entries;
}

/** The index lists headings; those without entries are none to the library. */
void expectSectionsOfTheIndex(CaptureSource const& source, dovrel::IniFile const& file)
{
    auto const fact = source.facts.find("sections");
    if (fact == source.facts.end())
        return;
    std::istringstream list(fact->second);
    size_t known = 0;
    for (std::string section; std::getline(list, section, ',');)
        known += file.SectionExists(section);
    EXPECT_EQ(known, file.ReadSectionNames().size() - file.SectionExists(L""));
    EXPECT_GT(known, 0U);
}

}

TEST_F(Captures, ofIniFilesAreReadAsTheNaiveReaderReadsThem)
{
    for (CaptureSource const& source : testkit::sourcesOf("ini", ".txt")) {
        SCOPED_TRACE(source.path);
        dovrel::IniFile const file(source.path, true, false, false);
        EXPECT_EQ(file.savedError(), 0);
        EXPECT_GT(file.size(), 0U);
        EXPECT_EQ(NaiveIni(testkit::contentsOf(source.path)).differenceFrom(file), "");
        testkit::expectFact(source, "key_lines", entriesWithoutHash(file));
        expectSectionsOfTheIndex(source, file);
    }
}
