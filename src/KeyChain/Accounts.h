#pragma once

namespace halvo {

// The names under which items are filed. They are the same on every system and stay as they are: changing one
// would lose what users have stored.
inline constexpr const char* publicHost = "halvo.example";
inline constexpr const char* apiTokenAccount = "api-token";

inline constexpr const char* sparkleServicePrefix = "halvo.sparkle.";
inline constexpr const char* sparkleAccount = "ed25519"; ///< of Sparkle's own tool, too

inline constexpr const char* s3ServicePrefix = "halvo.s3.";
inline constexpr const char* s3Account = "aws-credentials";

/// The service and the protocol under which Sparkle's own key tool files its keys.
inline constexpr const char* sparkleToolService = "https://sparkle-project.org";
inline constexpr const char* sparkleToolProtocol = "ssh";

} // namespace halvo
