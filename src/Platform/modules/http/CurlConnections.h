#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

namespace halvo {

/// Owns what libcurl made until `Release` takes it back. libcurl's handles are all `void` to the compiler.
template<typename Type, auto Release>
struct CurlReleaser {
    void operator()(Type* owned) const { Release(owned); }
};
template<typename Type, auto Release>
using CurlOwner = std::unique_ptr<Type, CurlReleaser<Type, Release>>;

/// A libcurl handle and the connections that it keeps open. Used by one thread at a time; stays where it is.
struct CurlConnections {
    CurlConnections();
    CurlConnections(const CurlConnections&) = delete;
    CurlConnections& operator=(const CurlConnections&) = delete;

    /// libcurl closes a socket: keeps what had arrived on it unread. `self` is a CurlConnections.
    static int closeSocket(void* self, curl_socket_t socket);

    std::string leftInSocket; ///< of the socket that was closed last; used even while the handles below go
    CurlOwner<CURLM, &curl_multi_cleanup> multi;
    CurlOwner<CURL, &curl_easy_cleanup> easy;
};

} // namespace halvo
