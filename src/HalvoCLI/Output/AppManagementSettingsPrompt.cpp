#include "Output/AppManagementSettingsPrompt.h"

namespace halvo::AppManagementSettingsPrompt {

void offerToOpen(Terminal& noora, Workspace& workspace) {
    constexpr const char* settingsPage =
        "x-apple.systempreferences:com.apple.settings.PrivacySecurity.extension?Privacy_AppBundles";
    bool wanted = false;
    try {
        wanted = noora.yesOrNoChoicePrompt(
            {.title = "App Management permission needed",
             .question = "Open System Settings → Privacy & Security → App Management?"});
    } catch (const PromptError&) { // no answer is a no: what failed before is the failure to report
    }
    if (wanted && !workspace.open(settingsPage))
        noora.warning(
            {{.message =
                  "System Settings could not be opened. Open them yourself and go to Privacy & Security → App Management."}});
}

} // namespace halvo::AppManagementSettingsPrompt
