#include <ZIP/ZIPError.h>

#include <Base/Unicode.h>

namespace halvo {
namespace {

/// A name from an archive may hold anything; a terminal should not obey it.
std::string quoted(const std::string& name) {
    std::string text = repairedUTF8(name);
    for (char& character : text)
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F)
            character = '?';
    return "\"" + text + "\"";
}

struct Sentence {
    std::string operator()(const ZIPError::NotAnArchive& problem) const {
        return quoted(problem.path) + " is not a ZIP archive, or its end is missing. Get or make it again.";
    }
    std::string operator()(const ZIPError::Damaged& problem) const {
        return (problem.entry.empty() ? "The ZIP archive is damaged"
                                      : "The entry " + quoted(problem.entry) + " is damaged") +
               ": " + problem.reason + ". Get or make the archive again.";
    }
    std::string operator()(const ZIPError::Encrypted& problem) const {
        return "The entry " + quoted(problem.entry) + " is encrypted. Make the archive without a password.";
    }
    std::string operator()(const ZIPError::Unsupported& problem) const {
        return (problem.entry.empty() ? "The ZIP archive" : "The entry " + quoted(problem.entry)) + " uses " +
               problem.feature + ", which cannot be read. Make the archive with deflate compression.";
    }
    std::string operator()(const ZIPError::UnsafeName& problem) const {
        return "The ZIP archive is refused: the entry name " + quoted(problem.entry) + " " + problem.reason +
               ".";
    }
    std::string operator()(const ZIPError::UnsafeLink& problem) const {
        return "The ZIP archive is refused: the link " + quoted(problem.entry) + " to " +
               quoted(problem.target) + " does not stay inside the archive.";
    }
    std::string operator()(const ZIPError::Conflict& problem) const {
        return "The ZIP archive is refused: it holds " + quoted(problem.entry) +
               " twice, or entries below it though it is no folder.";
    }
    std::string operator()(const ZIPError::TooLarge& problem) const {
        return "The ZIP archive is refused: " + problem.reason + ".";
    }
    std::string operator()(const ZIPError::NotAFolder& problem) const {
        return quoted(problem.path) + " is not a folder.";
    }
    std::string operator()(const ZIPError::SpecialFile& problem) const {
        return quoted(problem.path) + " is a socket, a pipe or a device and cannot be packed. Remove it.";
    }
    std::string operator()(const ZIPError::Changed& problem) const {
        return quoted(problem.path) +
               " changed while it was being packed. Try again when nothing writes to it.";
    }
};

} // namespace

std::string ZIPError::describe(const Case& problem) { return std::visit(Sentence{}, problem); }

} // namespace halvo
