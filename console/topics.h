// Event-bus topics and peer services that several handlers name.
#pragma once

namespace topic {
inline constexpr char audio[] = "audioUserConfigChanged";
inline constexpr char control[] = "controlUserConfigChanged";
inline constexpr char network[] = "networkUserConfigChanged";
inline constexpr char system[] = "systemUserConfigChanged";
inline constexpr char video[] = "videoUserConfigChanged";
inline constexpr char commandFeedback[] = "CommandFeedback";
inline constexpr char upgradeQuery[] = "UpgradeSlaveVersionQuery";
}  // namespace topic

namespace service {
inline constexpr char displayControl[] = "displayControl";
inline constexpr char displayControlTelnet[] = "displayControlTelnetClient";
inline constexpr char microcontroller[] = "intermcud";
inline constexpr char network[] = "networkd";
inline constexpr char system[] = "systemd";
}  // namespace service
