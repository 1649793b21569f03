// SPDX-License-Identifier: MIT
// The minimum for a started program: connects to the given port and exits.
#include <arpa/inet.h>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

int main(int, char** argv) {
    sockaddr_in host{};
    host.sin_family = AF_INET;
    host.sin_port = htons(static_cast<unsigned short>(std::atoi(argv[2])));
    host.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    return connect(fd, reinterpret_cast<const sockaddr*>(&host), sizeof host) == 0 ? 0 : 1;
}
