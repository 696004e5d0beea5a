// `velmorinctl dbc`: the protocol's frames as a DBC database, which tools for CAN buses read.
#pragma once

/// Prints the database for the device at that address, 0 to 255, on standard output. The exit status: 1 when
/// standard output cannot be written.
int PrintDbc(int charge_address);
