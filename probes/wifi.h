// Wi-Fi station on "wlan0": is the link up, which network, how strong; and the raw readings for service.
// Each probe leaves what it found in DisplayState. It runs a shell pipeline and blocks until that ends.
#pragma once

/// Returns 1 when the link is up and the tool that tells the network's name could be run; otherwise 0.
/// `wifi_ssid` then holds the last line it printed, or what it held before when it printed nothing. A link that is
/// down empties `wifi_ssid`; a file that cannot be opened, or a tool that cannot be run, leaves it as it was.
int wifi_link_probe();

/// Reads the signal strength and points `wifi_quality` at its percentage. Returns 0 without a reading,
/// else 1. A reading outside -1 to -1000 dBm leaves `wifi_quality` as it was.
int wifi_quality_probe();

/// Leaves the tools' raw signal and noise lines, without their newlines, in `debug_rssi_text` and `debug_noise_text`;
/// a tool that prints nothing leaves its text as it was.
void wifi_debug_probe();
