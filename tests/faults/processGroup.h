// Programs that are killed together, at one instant.
#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

class ProcessGroup {
public:
    ProcessGroup();
    ~ProcessGroup() { kill(); }
    ProcessGroup(const ProcessGroup&) = delete;
    ProcessGroup& operator=(const ProcessGroup&) = delete;

    /// words[0] is the name it is started under. Throws std::system_error.
    void start(const std::string& program, const std::vector<std::string>& words,
               const std::map<std::string, std::string>& environment, int output);
    /// SIGKILL to all of them and to what they started; returns when they are gone.
    void kill();

private:
    pid_t group_ = 0;
};
