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
    explicit Failure(std::string description, std::string advice = {})
        : text(std::move(description)), help(std::move(advice)) {}

    /// One sentence (sometimes several lines) that says what happened and to what.
    const std::string& description() const noexcept { return text; }
    const char* what() const noexcept override { return text.c_str(); }
    /// A line beside the sentence, for standard error: more about what is wrong, or what helps. Often empty.
    const std::string& advice() const noexcept { return help; }
    void setAdvice(std::string advice) { help = std::move(advice); }

private:
    std::string text;
    std::string help;
};

/// The failures of one subsystem, each case a struct with its payload, its sentence and perhaps an
/// `advice()`:
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
        : Failure(std::visit([](const auto& one) { return one.description(); }, problem),
                  std::visit(
                      [](const auto& one) -> std::string {
                          if constexpr (requires { one.advice(); })
                              return one.advice();
                          else
                              return {};
                      },
                      problem)),
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
/// Its advice, empty when it has none.
std::string adviceOf(const std::exception& error);

} // namespace halvo
