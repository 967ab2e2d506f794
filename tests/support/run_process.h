// Runs a command line through the shell and collects what a script sees: the
// exit code, standard output and standard error.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace testsupport {

struct ProcessRun {
    int exitCode = -1;  // -1 when the shell did not exit normally
    std::string out;
    std::string err;
};

inline std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// `command` may hold its own redirections and variable assignments.
inline ProcessRun runShellCommand(const std::string& command) {
    // ctest runs cases in parallel processes, each with its own file.
    const std::string errFile = ::testing::TempDir() + "run_process_stderr_" + std::to_string(getpid()) + ".txt";
    ProcessRun run;
    std::FILE* pipe = popen((command + " 2>" + shellQuoted(errFile)).c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return run;
    }
    char buffer[4096];
    for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        run.out.append(buffer, count);
    }
    const int status = pclose(pipe);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream err(errFile);
    std::ostringstream errText;
    errText << err.rdbuf();
    run.err = errText.str();
    std::remove(errFile.c_str());
    return run;
}

}  // namespace testsupport
