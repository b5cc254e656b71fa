/// Addresses of the community's own services. They lie in a reserved domain until the owner names real ones.
#pragma once

#include <QLatin1String>

namespace vok::addresses
{

/// Origin of the public account service.
inline constexpr QLatin1StringView kPublicAccountService("https://auth.tarvun-selvira.example:7443");
/// The web page that is opened where the original guide is not to be found.
inline constexpr QLatin1StringView kCommunityPage("https://tarvun-selvira.example/");
/// Origin of a local server whose port nobody has changed.
inline constexpr QLatin1StringView kLocalAccountService("https://localhost:7443");

/// What the form for an account service shows as an example.
inline constexpr QLatin1StringView kExampleHost("oyun.example");

/// Hosts that published releases come from; the suffix begins with its dot, so that it names whole labels.
inline constexpr QLatin1StringView kReleaseApiHost("api.github.com");
inline constexpr QLatin1StringView kReleaseWebHost("github.com");
inline constexpr QLatin1StringView kReleaseContentSuffix(".githubusercontent.com");

} // namespace vok::addresses
