#pragma once

#include <Base/URL.h>

#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

enum class ProjectType { project, workspace };

/// By the path extension: "xcworkspace" is a workspace, anything else a project.
ProjectType projectType(const URL& url);
std::string_view rawValue(ProjectType type);

/// Which project of Xcode's makes an app.
struct XcodeBuildConfiguration {
    std::optional<URL> projectPath{};
    ProjectType projectType = ProjectType::project;
    std::string scheme{};

    /// Whether there is a scheme, and a project that exists right now.
    bool isValid() const;

    static void fields(auto& configuration, auto&& field) {
        field("projectPath", configuration.projectPath);
        field("projectType", configuration.projectType);
        field("scheme", configuration.scheme);
    }

    bool operator==(const XcodeBuildConfiguration&) const = default;
};

void to_json(nlohmann::json& json, ProjectType type);
void from_json(const nlohmann::json& json, ProjectType& type); ///< throws ModelError

} // namespace halvo
