// The CAN interface that a job goes out on: what the kernel tells of it, and its set-up. On a bench the
// host's interfaces are neither looked at nor touched: there is a bus or there is none.
#pragma once

#include <optional>
#include <string>

struct InterfaceState {
    bool exists = false;
    bool is_can = false;
    bool up = false;
    // Not known of an interface without a controller, such as vcan or a bench's.
    std::optional<int> bitrate;        ///< bit/s; only while it has one
    std::optional<std::string> state;  ///< "error-active", "error-warning", "error-passive", "bus-off", …
    std::optional<int> tx_errors;      ///< error counters
    std::optional<int> rx_errors;
};

InterfaceState LookAtInterface(const std::string& name);

/// Why no job can run on it, with the remedy; empty when one can. A bit rate of 0 is not compared.
std::string InterfaceFault(const InterfaceState& interface, int bitrate);
/// What a person should know of an interface on which a job can run; empty when there is nothing.
std::string InterfaceWarning(const InterfaceState& interface);

/// Makes it ready for a job: unless it is up at that bit rate, sets the rate and brings it up, if `setup` is
/// asked for and we have the right. Why it is not ready, as InterfaceFault; empty when it is.
std::string PrepareInterface(const std::string& name, int bitrate, bool setup);

/// What to look at after the bus was lost.
std::string LostBusAdvice(const std::string& name);
/// What to look at after the device was silent.
std::string SilenceAdvice(const std::string& name, int charge_address);
