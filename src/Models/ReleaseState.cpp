#include <Models/ReleaseState.h>

#include <Models/JSONFields.h>

#include <algorithm>
#include <array>

namespace halvo {
namespace {

struct StepNames {
    ReleaseState::Step step;
    const char* name;
    const char* text;
};

using enum ReleaseState::Step;
constexpr std::array<StepNames, 8> steps{{
    {preflight, "preflight", "Preflight checks..."},
    {exporting, "exporting", "Exporting app archive..."},
    {zipping, "zipping", "Zipping..."},
    {codesigningApp, "codesigningApp", "Code signing app..."},
    {creatingDMG, "creatingDMG", "Creating DMG..."},
    {notarizing, "notarizing", "Notarizing..."},
    {signing, "signing", "Signing..."},
    {uploading, "uploading", "Uploading..."},
}};

} // namespace

std::string_view text(ReleaseState::Step step) { return steps.at(static_cast<std::size_t>(step)).text; }

void to_json(nlohmann::json& json, ReleaseState::Step step) {
    json = {{steps.at(static_cast<std::size_t>(step)).name, nlohmann::json::object()}};
}

void from_json(const nlohmann::json& json, ReleaseState::Step& step) {
    std::array<const char*, steps.size()> names{};
    std::ranges::transform(steps, names.begin(), &StepNames::name);
    step = static_cast<ReleaseState::Step>(caseIndex(json, names));
}

} // namespace halvo
