// INI files of real machines: see captures_test.cpp.

#include "common/basic/IniFile.h"
#include "tests/reference/ini.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/captures.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using testkit::Captures;
using testkit::CaptureSource;

namespace {

/** Counts the entries that do not begin with "#", which the index takes for a comment. */
size_t entriesWithoutHash(dovrel::IniFile const& file)
{
    size_t entries = 0;
    for (dovrel::string const& section : file.ReadSectionNames())
        for (dovrel::string const& value : file.ReadSectionValues(section))
            entries += *value.c_str() != L'#';
    return entries;
}

/** The index also lists sections without entries, which do not exist for the library. */
void expectSectionsOfTheIndex(CaptureSource const& source, dovrel::IniFile const& file)
{
    auto const fact = source.facts.find("sections");
    if (fact == source.facts.end())
        return;
    std::istringstream list(fact->second);
    size_t existing = 0;
    for (std::string section; std::getline(list, section, ',');)
        existing += file.SectionExists(section);
    EXPECT_EQ(existing, file.ReadSectionNames().size() - file.SectionExists(L""));
    EXPECT_GT(existing, 0U);
}

}

TEST_F(Captures, ofIniFilesMatchTheReferenceParser)
{
    for (CaptureSource const& source : testkit::sourcesOf("ini", ".txt")) {
        SCOPED_TRACE(source.path);
        dovrel::IniFile const file(source.path, true, false, false);
        EXPECT_EQ(file.savedError(), 0);
        EXPECT_GT(file.size(), 0U);
        EXPECT_EQ(reference::Ini(testkit::contentsOf(source.path)).differenceFrom(file), "");
        testkit::expectFact(source, "key_lines", entriesWithoutHash(file));
        expectSectionsOfTheIndex(source, file);
    }
}
