#include <Models/XcodeBuildConfiguration.h>

#include <Models/JSONFields.h>

#include <filesystem>

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

void to_json(nlohmann::json& json, const XcodeBuildConfiguration& configuration) {
    FieldWriter(json)
        .field("projectPath", configuration.projectPath)
        .field("projectType", configuration.projectType)
        .field("scheme", configuration.scheme);
}

void from_json(const nlohmann::json& json, XcodeBuildConfiguration& configuration) {
    const FieldReader fields(json);
    fields.optional("projectPath", configuration.projectPath);
    fields.required("projectType", configuration.projectType);
    fields.required("scheme", configuration.scheme);
}

} // namespace halvo
