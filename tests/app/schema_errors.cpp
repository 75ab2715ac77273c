#include "tests/app/schema_errors.h"

#include "tests/app/Program.h"

#include <array>
#include <cstdio>

namespace app_test {

std::string schemaErrors(std::string const& documents)
{
    Folder const folder;
    std::string const command = std::string(DOVREL_VALIDATE) + " " + DOVREL_SCHEMA + " "
        + folder.file("documents", documents).string() + " 2>&1";
    std::FILE* const validator = popen(command.c_str(), "re");
    if (!validator)
        return "popen failed";
    std::string errors;
    std::array<char, 4096> piece;
    for (size_t count = 0; (count = std::fread(piece.data(), 1, piece.size(), validator)) > 0;)
        errors.append(piece.data(), count);
    int const status = pclose(validator);
    return status != 0 && errors.empty() ? "the validator failed" : errors;
}

}
