#pragma once

#include <Base/URL.h>

namespace halvo {

/// Removes a prepared file that this run made, and the folder that was made for it when nothing else lies
/// there. Never fails: what stays is a file among temporary ones.
void removeTemporaryArtifact(const URL& file) noexcept;

} // namespace halvo
