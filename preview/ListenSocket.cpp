#include "preview/ListenSocket.h"

#include "preview/HttpLimits.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace glfxpreview {

std::string hostAndPort(const std::string& address, int port)
{
    const bool v6 = address.find(':') != std::string::npos;
    return (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

ListenSocket listenOn(const std::string& address, int port)
{
    const std::string where = "cannot listen on " + hostAndPort(address, port) + ": ";
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const int gai = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (gai != 0)
        throw std::runtime_error(where + (gai == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(gai)));

    int error = 0;
    for (const addrinfo* a = found; a; a = a->ai_next) {
        const int fd = socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0) {
            error = errno;
            continue;
        }
        // SO_REUSEADDR lets a new preview take a port whose last connections
        // are still closing; unlike SO_REUSEPORT it never lets two listen.
        const int yes = 1, no = 0;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        if (a->ai_family == AF_INET6)
            setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &no, sizeof no);
        if (bind(fd, a->ai_addr, a->ai_addrlen) == 0 && listen(fd, limits::kListenBacklog) == 0) {
            sockaddr_storage bound{};
            socklen_t size = sizeof bound;
            getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &size);
            const int chosen = bound.ss_family == AF_INET6
                                   ? ntohs(reinterpret_cast<const sockaddr_in6*>(&bound)->sin6_port)
                                   : ntohs(reinterpret_cast<const sockaddr_in*>(&bound)->sin_port);
            freeaddrinfo(found);
            return {fd, chosen};
        }
        error = errno;
        close(fd);
    }
    freeaddrinfo(found);
    throw std::runtime_error(where + std::strerror(error));
}

} // namespace glfxpreview
