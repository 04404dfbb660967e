#include <Models/XcodeBuildConfiguration.h>

#include <Models/ModelError.h>

#include <filesystem>

#include <nlohmann/json.hpp>

namespace halvo {

ProjectType projectType(const URL& url) {
    return url.pathExtension() == "xcworkspace" ? ProjectType::workspace : ProjectType::project;
}

std::string_view rawValue(ProjectType type) {
    return type == ProjectType::workspace ? "workspace" : "project";
}

bool XcodeBuildConfiguration::isValid() const {
    std::error_code unreadable; // counts as not there
    return projectPath && !scheme.empty() && std::filesystem::exists(projectPath->filePath(), unreadable);
}

void to_json(nlohmann::json& json, ProjectType type) { json = rawValue(type); }

void from_json(const nlohmann::json& json, ProjectType& type) {
    if (json == "project")
        type = ProjectType::project;
    else if (json == "workspace")
        type = ProjectType::workspace;
    else
        throw ModelError(ModelError::Mismatch{"project or workspace"});
}

} // namespace halvo
