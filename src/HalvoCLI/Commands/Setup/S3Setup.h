#pragma once

#include "Commands/Setup/SetupOptions.h"

#include <Models/StorageConfiguration.h>
#include <Platform/Environment.h>
#include <Terminal/Terminal.h>

namespace halvo {

/// The bucket of a self-hosted app: from options and environment when they name one, else asked for. Throws
/// Failure, CLIError `invalid_argument` and PromptError.
S3Configuration resolveS3Configuration(const S3DestinationOptions& options, const Environment& environment,
                                       Terminal& terminal);

/// The key pair of the bucket: from the options when both are given, else asked for. Throws PromptError.
S3Credentials resolveS3Credentials(const SetupOptions& options, Terminal& terminal);

} // namespace halvo
