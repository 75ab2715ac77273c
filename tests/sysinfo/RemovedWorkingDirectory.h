#pragma once

#include "common/basic/noncopyable.h"
#include "tests/support/Machine.h"

#include <unistd.h>

#include <gtest/gtest.h>

namespace testkit {

/** Makes a removed folder the working directory during its lifetime. */
class RemovedWorkingDirectory : dovrel::noncopyable_::noncopyable {
public:
    RemovedWorkingDirectory()
    {
        machine.folder("/tmp/removed");
        EXPECT_EQ(::chdir("/tmp/removed"), 0);
        machine.remove("/tmp/removed");
        EXPECT_EQ(::getcwd(nullptr, 0), nullptr);
    }
    ~RemovedWorkingDirectory() { EXPECT_EQ(::chdir("/"), 0); }
};

}
