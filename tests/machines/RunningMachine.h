#pragma once

namespace machines {

/** Lives in the real root while it exists: the machine does not have the source folder. */
class RealRoot {
public:
    RealRoot();
    RealRoot(RealRoot const&) = delete;
    RealRoot& operator=(RealRoot const&) = delete;
    ~RealRoot();
};

/** The machine runs while the object exists; then everything that hangs in it ends. */
class RunningMachine {
public:
    RunningMachine();
    RunningMachine(RunningMachine const&) = delete;
    RunningMachine& operator=(RunningMachine const&) = delete;
    ~RunningMachine();

private:
    int m_writer;
};

}
