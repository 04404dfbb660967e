#include "CurlConnections.h"

#include <Platform/HTTPSession.h>

#include <sys/socket.h>
#include <unistd.h>

namespace halvo {

CurlConnections::CurlConnections() : multi(curl_multi_init()), easy(curl_easy_init()) {
    if (!multi || !easy)
        throw HTTPError(HTTPError::Kind::other, "libcurl could not be started.");
}

int CurlConnections::closeSocket(void* self, curl_socket_t socket) {
    std::string& left = static_cast<CurlConnections*>(self)->leftInSocket;
    char buffer[65536];
    const ssize_t count = ::recv(socket, buffer, sizeof buffer, MSG_DONTWAIT);
    left.assign(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    return ::close(socket);
}

} // namespace halvo
