"""Runs a program under strace(1) and reads the logs. For the gates that compare what is read."""

import os
import re
import subprocess
import sys

# Calls that take a path.
BY_PATH = re.compile(
    r"(open(at)?|l?stat(64)?|newfstatat|fstatat64|statx|f?access(at2?)?|readlink(at)?)\(")


def trace(prefix, command, calls="all", statuses=(0,), environment=None):
    """@return the logs of the program's processes, PREFIX.NUMBER, in the order of their numbers."""
    result = subprocess.run(
        ["strace", "-ff", "-y", "-s", "4096", "-o", prefix, "-e", f"trace={calls}", *command],
        text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        env=environment)
    if "ptrace" in result.stderr.lower() and "not permitted" in result.stderr:
        sys.exit(f"strace: this machine does not permit ptrace(2): {result.stderr.strip()}")
    if result.returncode not in statuses:
        sys.exit(f"{' '.join(map(str, command))}: status {result.returncode} under strace: "
                 f"{result.stderr.strip()}")
    return sorted(prefix.parent.glob(prefix.name + ".*"), key=lambda log: int(log.suffix[1:]))


def lines_of(log):
    return log.read_text(errors="surrogateescape").split("\n")


def own_lines(log, program):
    """The lines until the process becomes a tool. The first process has become the program."""
    lines = lines_of(log)
    for line in lines[1 if f'execve("{program}"' in lines[0] else 0:]:
        if line.startswith("execve(") and line.endswith(" = 0"):
            return
        yield line


def path_of(line):
    """The absolute path that a call gets; None where it gets none."""
    call = re.match(r'\w+\((?:(?:AT_FDCWD|[0-9]+)<([^<>]*)>, )?"((?:[^"\\]|\\.)+)"', line)
    if not call or not BY_PATH.match(line):
        return None
    return os.path.join(call.group(1) or "/", call.group(2))


def listed_path(line):
    """The folder whose entries a call reads; None for other calls."""
    listed = re.match(r"getdents(?:64)?\([0-9]+<([^<>]*)>", line)
    return listed.group(1) if listed else None
