#pragma once

#include <exception>
#include <string>
#include <utility>
#include <variant>

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

/// The failures of one subsystem, each case a struct with its payload and its sentence:
///
///     struct ZipCases {
///         struct NoAppFound {
///             std::string description() const { return "No .app bundle found in ZIP"; }
///         };
///         using Case = std::variant<NoAppFound>;
///     };
///     using ZipError = FailureOf<ZipCases>;     // throw ZipError(ZipError::NoAppFound())
template<typename Cases>
class FailureOf : public Failure, public Cases {
public:
    explicit FailureOf(typename Cases::Case problem)
        : Failure(std::visit([](const auto& one) { return one.description(); }, problem)),
          which(std::move(problem)) {}

    template<typename One>
    bool is() const {
        return std::holds_alternative<One>(which);
    }

    typename Cases::Case which; ///< callers branch on this, never on the sentence
};

/// A failure with a code for machines: snake_case, and its meaning never changes.
class CodedFailure : public Failure {
public:
    CodedFailure(std::string code, std::string message)
        : Failure(std::move(message)), code(std::move(code)) {}
    std::string code;
};

/// Raised out of a blocking call whose cancellation was requested (Ctrl-C, SIGTERM). It is not a
/// `std::exception`, so that no handler of failures takes it for one; only `main` and the commands that
/// report a cancellation catch it.
class CancelledError {};

/// The sentence of any exception: a Failure's description, else what the library said.
std::string describe(const std::exception& error);

} // namespace halvo
