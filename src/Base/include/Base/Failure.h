#pragma once

#include <exception>
#include <string>

namespace halvo {

/// The root of every failure of this program: something that ends an operation, with a sentence for the user.
///
/// Each subsystem derives one type of its own, a tagged record whose cases callers can match on. The sentence
/// never holds a secret.
class Failure : public std::exception {
public:
    explicit Failure(std::string description) : text(std::move(description)) {}

    /// One sentence (sometimes several lines) that says what happened and to what.
    const std::string& description() const noexcept { return text; }
    const char* what() const noexcept override { return text.c_str(); }

private:
    std::string text;
};

/// Raised out of a blocking call whose cancellation was requested (Ctrl-C, SIGTERM).
class CancelledError : public Failure {
public:
    CancelledError() : Failure("The operation was cancelled.") {}
};

/// The sentence of any exception: a Failure's description, else what the library said.
std::string describe(const std::exception& error);

} // namespace halvo
