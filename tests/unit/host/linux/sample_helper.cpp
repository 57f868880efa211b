#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// A helper program for the tests: makes its socket, and notes its process id and its session in
// ROOT/helper.log. The word in ROOT/helper.mode makes it do otherwise: "ends", "stubborn".

int main(int argc, char** argv) {
    const std::string root = argc == 3 && std::strcmp(argv[1], "--root") == 0 ? argv[2] : "";
    std::ifstream modeFile(root + "/helper.mode");
    const std::string mode{std::istreambuf_iterator<char>(modeFile), {}};
    if (root.empty() || mode == "ends") {
        return 1;
    }
    if (mode == "stubborn") {
        std::signal(SIGTERM, SIG_IGN);
    }
    std::printf("what a helper prints must not disturb its installer\n");
    std::fflush(stdout);
    std::ofstream(root + "/helper.log") << getpid() << ' ' << getsid(0) << '\n';

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = root + "/var/run/com.korvane.remote.KvnServiceController.socket";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path.c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return 1;
    }
    for (;;) {
        pause();
    }
}
