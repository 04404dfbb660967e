#include "NameOrder.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <utf8proc.h>

namespace halvo::dsstore {
namespace {

bool isASCII(char character) { return static_cast<std::uint8_t>(character) < 128; }

} // namespace

std::u16string foldedName(const std::string& filename) {
    if (std::ranges::all_of(filename, isASCII)) { // nearly every name
        std::u16string folded(filename.begin(), filename.end());
        for (char16_t& unit : folded)
            if (unit >= u'A' && unit <= u'Z')
                unit = static_cast<char16_t>(unit + ('a' - 'A'));
        return folded;
    }
    utf8proc_uint8_t* mapped = nullptr;
    const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(filename.data()),
                                     static_cast<utf8proc_ssize_t>(filename.size()), &mapped,
                                     static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE |
                                                                    UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
    // Text that is not UTF-8 is refused where names are encoded; here it only needs a place.
    const std::string folded =
        length < 0 ? filename
                   : std::string(reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length));
    return encodeUTF16(folded).value_or(std::u16string(folded.begin(), folded.end()));
}

} // namespace halvo::dsstore
