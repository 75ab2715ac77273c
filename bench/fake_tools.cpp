#include "bench/fake_tools.h"
#include "bench/private_mounts.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace bench {

void replaceTools()
{
    enterPrivateMounts();
    emptyFolder("/sbin");
}

void writeTool(std::string const& name, std::string const& output)
{
    std::string const path = "/sbin/" + name;
    writeText(path + ".txt", output);
    writeText(path, "#!/bin/sh\nexec cat " + path + ".txt\n");
    if (chmod(path.c_str(), 0755) != 0)
        throw std::system_error(errno, std::generic_category(), path);
}

}
