// Notes in the settings when the device came up.
#pragma once

/// Runs `date +"%d %T"` and stores its 11 characters as system.upOnTime; an empty text when the output has any other
/// length. Failures are reported and start-up goes on.
void storeUpTime();
