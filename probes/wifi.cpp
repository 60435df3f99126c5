#include "probes/wifi.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "app/display_state.h"
#include "probes/readers.h"

// Signal strength to percent, uneven as docs/compatibility.md tells. A row holds from its own dBm value up to the row
// before it, so that -1 to -1000 dBm have exactly one row each.
struct QualityRow {
    int32_t weakest_dbm;
    const char *percent;
};

constexpr QualityRow QUALITY_TABLE[] = {
    {-20, "100"}, {-23, "99"}, {-26, "98"}, {-28, "97"}, {-30, "96"}, {-32, "95"}, {-33, "94"}, {-35, "93"},
    {-36, "92"},  {-37, "91"}, {-40, "90"}, {-41, "88"}, {-42, "87"}, {-43, "86"}, {-44, "85"}, {-45, "84"},
    {-46, "83"},  {-47, "82"}, {-48, "81"}, {-49, "80"}, {-50, "79"}, {-51, "78"}, {-52, "76"}, {-53, "75"},
    {-54, "74"},  {-55, "73"}, {-56, "71"}, {-57, "70"}, {-58, "69"}, {-59, "67"}, {-60, "66"}, {-61, "64"},
    {-62, "63"},  {-63, "61"}, {-64, "60"}, {-65, "58"}, {-66, "56"}, {-67, "55"}, {-68, "53"}, {-69, "51"},
    {-70, "50"},  {-71, "48"}, {-72, "46"}, {-73, "44"}, {-74, "42"}, {-75, "40"}, {-76, "38"}, {-77, "36"},
    {-78, "34"},  {-79, "32"}, {-80, "30"}, {-81, "28"}, {-82, "26"}, {-83, "24"}, {-84, "22"}, {-85, "20"},
    {-86, "17"},  {-87, "15"}, {-88, "13"}, {-89, "10"}, {-90, "8"},  {-91, "6"},  {-92, "3"},  {-1000, "1"},
};

// True when `path` holds `wanted`. Anything else there means that the link is down, and forgets the network;
// a file that cannot be opened tells nothing, and leaves it.
static bool link_file_says(const char *path, const char *wanted) {
    char word[1024] = "";
    if (!read_word(path, word, sizeof word)) return false;
    if (strcmp(word, wanted) == 0) return true;
    display_state.wifi_ssid[0] = '\0';
    return false;
}

int wifi_link_probe() {
    // The link mode first: only both together are a link.
    if (!link_file_says(WLAN_LINK_MODE, "1")) return 0;
    if (!link_file_says(WLAN_OPERSTATE, "up")) return 0;
    if (!read_last_line(SSID_COMMAND, display_state.wifi_ssid, 63)) return 0;
    display_state.wifi_ssid[63] = '\0';
    return 1;
}

int wifi_quality_probe() {
    char line[64] = "";
    read_last_line(SIGNAL_COMMAND, line, 63);
    const long reading = strtol(line, nullptr, 10);
    const auto rssi = static_cast<int32_t>(reading < INT32_MIN ? INT32_MIN : reading > INT32_MAX ? INT32_MAX : reading);
    if (rssi == 0) return 0;
    if (rssi > 0) return 1;
    for (const QualityRow &row : QUALITY_TABLE) {
        if (rssi < row.weakest_dbm) continue;
        display_state.wifi_quality = row.percent;
        break;
    }
    return 1;
}

static void cut_at_newline(char *text) { text[strcspn(text, "\n")] = '\0'; }

void wifi_debug_probe() {
    DisplayState &state = display_state;
    read_last_line(SIGNAL_COMMAND, state.debug_rssi_text, 127);
    read_last_line(NOISE_COMMAND, state.debug_noise_text, 127);
    cut_at_newline(state.debug_noise_text);
    cut_at_newline(state.debug_rssi_text);
}
