// Starting another program and waiting for it, with a time limit: for the desktop's own tools
// (systemctl). Nothing of what it prints is read.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace numbrel::net {

// Runs argv[0] (looked up in PATH) with the rest as arguments, output discarded. Answers the exit
// status, or -1 when it could not be started, was killed, or ran past the limit (it is then killed).
int runProgram(const std::vector<std::string>& argv,
               std::chrono::milliseconds limit = std::chrono::milliseconds(10000));

}  // namespace numbrel::net
