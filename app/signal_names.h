// What the display is called on the bus, and what it listens to: the only home of these names for the
// daemon, its sender and its simulator.
#pragma once

constexpr char DISPLAY_BUS_NAME[] = "zor.signal.sink";
constexpr char SIGNAL_INTERFACE[] = "zor.signal.Type";
constexpr char SIGNAL_MEMBER[] = "Display";
constexpr char SIGNAL_PATH[] = "/zor/signal"; ///< where our own senders emit it; the display does not look at it
