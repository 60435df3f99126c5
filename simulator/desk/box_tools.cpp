// The scripts. They use the shell's own words only, so that a call costs one process.
#include "simulator/desk/box_tools.h"

namespace desk {

static const char *const preamble = R"sh(#!/bin/sh
state=/desk/state
echo "${0##*/} $*" >>$state/calls
# The first line of a file of the state; nothing when there is none.
value_of() {
    value=
    if [ -f "$state/$1" ]; then IFS= read -r value <"$state/$1"; fi
}
value_of "${0##*/}.delay"
if [ -n "$value" ]; then sleep "$value"; fi
)sh";

static const char *const iw = R"sh(
link() {
    value_of ssid
    if [ -z "$value" ]; then
        echo "Not connected."
        return
    fi
    echo "Connected to 02:00:00:00:01:00 (on wlan0)"
    printf '\tSSID: %s\n' "$value"
    printf '\tfreq: 2437\n\tRX: 1046432 bytes (6482 packets)\n\tTX: 193432 bytes (1247 packets)\n'
    value_of signal
    if [ -n "$value" ]; then printf '\tsignal: %s dBm\n' "$value"; fi
    printf '\trx bitrate: 65.0 MBit/s MCS 7\n\ttx bitrate: 72.2 MBit/s MCS 7 short GI\n\n'
    printf '\tbss flags:\tshort-slot-time\n\tdtim period:\t1\n\tbeacon int:\t100\n'
}

info() {
    printf 'Interface wlan0\n\tifindex 3\n\twdev 0x1\n\taddr 02:00:00:00:00:01\n'
    value_of ssid
    if [ -n "$value" ]; then printf '\tssid %s\n' "$value"; fi
    printf '\ttype managed\n\twiphy 0\n\tchannel 6 (2437 MHz), width: 20 MHz, center1: 2437 MHz\n'
    printf '\ttxpower 20.00 dBm\n'
}

case "$*" in
    "dev wlan0 link") link ;;
    "wlan0 info" | "dev wlan0 info") info ;;
    *)
        echo "Usage: iw [options] command" >&2
        exit 1
        ;;
esac
)sh";

static const char *const wl = R"sh(
if [ "$*" != noise ]; then
    echo "wl: unsupported command" >&2
    exit 1
fi
value_of noise
if [ -n "$value" ]; then printf '%s\n' "$value"; fi
)sh";

static const char *const vcicp = R"sh(
if [ "$*" != vjack ]; then
    echo "usage: vcicp vjack" >&2
    exit 1
fi
if [ ! -f $state/jack ]; then exit 1; fi
{
    IFS= read -r reply
    IFS= read -r next
    more=$?
    rest=$(cat)
} <$state/jack
printf '%s\n' "$reply"
# The last reply stays for all later calls.
if [ $more -eq 0 ]; then printf '%s\n' "$next${rest:+
$rest}" >$state/jack; fi
)sh";

const std::map<std::string, std::string> &box_tools() {
    static const std::map<std::string, std::string> tools = {
        {"iw", std::string(preamble) + iw},
        {"wl", std::string(preamble) + wl},
        {"vcicp", std::string(preamble) + vcicp},
    };
    return tools;
}

} // namespace desk
