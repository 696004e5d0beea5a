// `velmorinctl check`: could an update run now? Changes nothing.
#pragma once

#include <optional>
#include <string>

/// Looks at the interface, the device (when its charge address is given), the staging file and other
/// updaters; a line each on standard output, or one JSON object. Takes two seconds when a device is asked and
/// silent. The first fault's exit status.
int Check(const std::string& interface, std::optional<int> charge_address, bool as_json);
