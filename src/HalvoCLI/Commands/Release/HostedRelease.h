#pragma once

#include "Output/CLIError.h"

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/HalvoReleaseUploader.h>
#include <Models/BundleInfo.h>

namespace halvo {

/// The app of that bundle on the hosted service. Throws CLIError: `not_authenticated` when nobody is logged
/// in, `app_not_configured` when the account has no such app.
ServerApp findHostedApp(APIClient& apiClient, const BundleInfo& bundleInfo);

/// What to tell after a failed delivery: how to remove the record that the service holds without a file.
/// Empty when there is none.
std::string unfinishedReleaseHint(const HalvoReleaseUploader& uploader, const BundleInfo& bundleInfo);

} // namespace halvo
