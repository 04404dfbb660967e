#pragma once

#include <Base/Failure.h>
#include <Terminal/TerminalDescription.h>

#include <string_view>

namespace halvo {

/// Output that cannot be written: a full disk, a reader that went away.
class OutputError : public Failure {
public:
    explicit OutputError(int errorNumber);
    int errorNumber; ///< errno's value
};

/// Where text goes: standard output, standard error, or a buffer in a test. Not synchronised: Terminal is.
class OutputPipeline {
public:
    virtual ~OutputPipeline() = default;
    /// Writes all of `bytes` now, unbuffered. Throws OutputError.
    virtual void write(std::string_view bytes) = 0;
    /// As it is at this moment: a window may have been resized.
    virtual TerminalDescription description() const = 0;
    /// Hides or shows the cursor. Asked only when the description is interactive.
    virtual void setCursorVisible(bool visible) = 0;
};

/// An open file descriptor, which stays the caller's.
class FileDescriptorOutput : public OutputPipeline {
public:
    FileDescriptorOutput(int descriptor, const VariableLookup& variables);
    void write(std::string_view bytes) override;
    TerminalDescription description() const override;
    void setCursorVisible(bool visible) override;

private:
    int descriptor;
    TerminalDescription atStart;
};

} // namespace halvo
