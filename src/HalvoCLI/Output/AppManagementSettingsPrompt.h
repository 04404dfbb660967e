#pragma once

#include <Platform/Workspace.h>
#include <Terminal/Terminal.h>

namespace halvo::AppManagementSettingsPrompt {

/// Asks whether to open the page of the system's settings that lets a terminal change apps, and opens it on
/// yes. For a terminal with a person at it; one that cannot be asked says no. Throws CancelledError.
void offerToOpen(Terminal& noora, Workspace& workspace);

} // namespace halvo::AppManagementSettingsPrompt
