#include "core/system/FSysInfoPaths.h"
#include "host/linux/LinuxRunningApplications.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <unistd.h>

// An application with instances: [--root DIR] wait|list|end [PID]
int main(int argc, char** argv) {
    const int task = argc > 3 ? 3 : 1;
    if (task == 3) {
        Kvs::FSysInfoPaths::setRoot(argv[2]);
    }
    kvn::host::LinuxRunningApplications table("com.example");
    if (const std::string word = argv[task]; word == "wait") {
        pause();
    } else if (word == "list") {
        const pid_t child = fork(); // as a program that is being started
        if (child == 0) {
            pause();
        }
        for (const pid_t process : table.instancesOf("com.example")) {
            std::printf("%d ", process == getpid() ? 0 : static_cast<int>(process));
        }
        kill(child, SIGKILL);
        return table.instancesOf("com.other").empty() ? 0 : 1;
    }
    return table.forceTerminate(std::stoi(argv[task] + 3)) ? 0 : 1; // endPID
}
