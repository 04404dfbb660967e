#pragma once

#include <Base/Failure.h>
#include <Terminal/TerminalText.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

/// A question that got no answer.
class PromptError : public Failure {
public:
    /// There is nobody to ask: the input or the output is not a terminal.
    struct NotInteractive {
        std::string question{};
        std::string hint{}; ///< how to answer without a terminal; may be empty
    };
    /// The input ended (Ctrl-D, a terminal that hung up) before an answer.
    struct EndOfInput {
        std::string question{};
    };
    /// The terminal could not be read or set up.
    struct TerminalFailure {
        int errorNumber = 0; ///< errno's value
    };
    using Case = std::variant<NotInteractive, EndOfInput, TerminalFailure>;
    explicit PromptError(Case which) : Failure(describe(which)), which(std::move(which)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// The keys are y and n, the arrows, and Enter.
struct YesOrNoQuestion {
    std::optional<TerminalText> title{};
    TerminalText question{};
    bool defaultAnswer = true;
    std::optional<TerminalText> description{};
    /// Leaves one line with the question and the answer on the screen instead of the whole prompt.
    bool collapseOnSelection = true;
    /// A sentence for when the question cannot be asked: "Pass --yes to go on without being asked."
    std::string hint{};
};

struct TextQuestion {
    std::optional<TerminalText> title{};
    TerminalText prompt{};
    std::optional<TerminalText> description{};
    std::optional<std::string> defaultValue{}; ///< shown, and the answer when nothing is typed
    bool collapseOnAnswer = true;
    bool secure = false; ///< a secret: bullets stand for what is typed, and the prompt always collapses
    /// What is wrong with an answer, as a sentence; absent when it is right. The question stays until it is.
    /// Must not print.
    std::function<std::optional<std::string>(const std::string& answer)> validation{};
    std::string hint{}; ///< as in YesOrNoQuestion
};

/// The keys are the arrows, j and k, the numbers 1 to 9, Home and End, and Enter.
struct ChoiceQuestion {
    std::optional<TerminalText> title{};
    TerminalText question{};
    std::vector<TerminalText> options{}; ///< at least one
    std::optional<TerminalText> description{};
    std::size_t selected = 0; ///< the option that is marked at first
    bool collapseOnSelection = true;
    std::string hint{}; ///< as in YesOrNoQuestion
};

} // namespace halvo
