// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "host/linux/LinuxRunningApplications.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// An application with instances: [--root DIR] wait|list|PID
int main(int argc, char** argv) {
    const std::string word = argv[argc - 1];
    if (argc > 2) {
        Kvs::FSysInfoPaths::setRoot(argv[2]);
    }
    kvn::host::LinuxRunningApplications table("com.example");
    if (word == "wait") {
        pause();
    }
    if (word == "list") {
        const pid_t child = fork(); // as a program that is being started
        if (child == 0) {
            pause();
        }
        for (const pid_t process : table.instancesOf("com.example")) {
            std::printf("%d ", process == getpid() ? 0 : static_cast<int>(process));
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0); // the next program must not find it
        return table.instancesOf("com.other").empty() ? 0 : 1;
    }
    return table.forceTerminate(std::stoi(word)) ? 0 : 1;
}
