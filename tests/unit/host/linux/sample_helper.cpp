// SPDX-License-Identifier: MIT

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// A helper program for the tests: makes its socket, and writes its process id to ROOT/helper.log. The word in
// ROOT/helper.mode makes it do otherwise: "ends", "ends-once", "stubborn".

int main(int argc, char** argv) {
    const std::string root = argc == 3 ? argv[2] : "";
    std::string mode;
    std::ifstream(root + "/helper.mode") >> mode;
    if (mode == "ends-once") {
        std::remove((root + "/helper.mode").c_str());
        return 1;
    }
    if (mode == "ends") {
        return 1;
    }
    if (mode == "stubborn") {
        std::signal(SIGTERM, SIG_IGN);
    }
    std::printf("what a helper prints must not disturb its installer\n");
    std::fflush(stdout);
    std::ofstream(root + "/helper.log") << getpid();

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = root + "/var/run/com.korvane.remote.KvnServiceController.socket";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path.c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    for (;;) {
        pause();
    }
}
