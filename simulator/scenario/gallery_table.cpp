// The order of the gallery. A word may stand in one row with others that show the same.
#include "simulator/scenario/gallery_table.h"

namespace desk {

static const GallerySection starts = {
    "Start-up", "Chosen once, by files that are there when the daemon starts.", {
        {"start_screen", "the first picture"},
        {"icon_row", "two seconds later: no channel yet, so the channels there are"},
        {"icon_row_without_hotspot", "with `/userdata/configs/no_ap`"},
        {"wifi_debug", "with `/userdata/debug_wlan0`: noise and signal instead of the voltage"},
        {"wifi_debug_without_readings", "the same while the wireless tools print nothing"},
        {"production", "with the production test script `/usr/local/bin/zor-destroy-hwtest.sh`"},
        {"production_without_identity", "the same without the identity files"},
    }};

static const GallerySection channels = {
    "Channels", "The top row says how the box is reached.", {
        {"view_usb", "`chan_usb`"},
        {"view_bluetooth", "`chan_bt`"},
        {"view_hotspot", "`chan_ap`"},
        {"view_vpn", "`chan_vpn`"},
        {"view_station_signal_4", "`chan_sta`, or by itself when the Wi-Fi link is up: signal 76 to 100"},
        {"view_station_signal_3", "51 to 75"},
        {"view_station_signal_2", "26 to 50"},
        {"view_station_signal_1", "0 to 25"},
        {"station_name_of_11_wide_letters", "the longest network name that is shown whole"},
        {"station_name_cut", "a longer one"},
        {"icon_row", "`chan_timeout` after any of them but the station"},
    }};

static const GallerySection modes = {
    "Modes", "The bottom row says what the box does.", {
        {"start_screen", "nothing said yet"},
        {"mode_ready", "`M4_ready`, `M4_none`, `DoIP_off`, `rj45_pt_disable`, `REC_OFF`, `M4_done`"},
        {"mode_diagnosis", "`M4_COMM`"},
        {"mode_passthru", "`M4_J2534`, or `FT_MAINAPP_J2534` in `/tmp/fw_type_running`; up until another mode comes"},
        {"mode_doip", "`DoIP_on`"},
        {"mode_doip_ethernet", "`rj45_pt_enable`"},
        {"mode_rec_waiting", "`REC_ON`"},
        {"mode_rec_on", "`REC_ON`, then `M4_COMM`"},
        {"mode_power_down", "`p_off`"},
        {"power_down_without_serial", "`p_off` on a box without a serial number"},
        {"mode_restarting", "`p_on`"},
        {"mode_no_warranty", "any message while `/rodata/wlock` is missing"},
    }};

static const GallerySection overlays = {
    "Overlays", "Boxes over the screen. `clear_msg` closes the one that is up.", {
        {"overlay_reboot", "`Reboot`, `Req_reboot`, `USB_done`"},
        {"overlay_ignition", "`Check_Igni`"},
        {"overlay_error_short", "`Error_Code A12`"},
        {"overlay_error_several_lines", "`Error_Code` with several lines"},
        {"overlay_error_empty", "`Error_Code` with an empty code"},
        {"overlay_wifi_error", "`Error_Code WIFI42`; `Error_Code CWIFI` closes it"},
        {"overlay_m4_error", "`M4_error`"},
        {"usb_box", "`USB_update`: stays until the next start"},
        {"usb_done_over_error", "`Error_Code A12`, then `USB_done`"},
        {"usb_done_over_error_cleared", "and then `clear_msg`"},
    }};

static const GallerySection firmware = {
    "Firmware update", "A box with a bar that fills in the announced time, whatever the update does.", {
        {"firmware_bar_empty", "`cd_update` with the seconds and the firmware's type"},
        {"firmware_bar_half", "after half of the seconds"},
        {"firmware_bar_full", "from then on"},
        {"firmware_restarted", "`cd_update` once more"},
        {"firmware_without_type", "`M4_update` before any `cd_update`"},
        {"m4_update_over_cd_update", "`M4_update` while the box is up"},
        {"m4_update_over_cd_update_cleared", "and then `clear_msg`"},
        {"production_firmware_latest", "`M4_done` on the production screen"},
        {"production_firmware_error", "`M4_error` on the production screen"},
        {"production_under_firmware", "`cd_update` on the production screen"},
    }};

static const GallerySection voltage = {
    "Voltage", "From the converter; below 6 V from the vehicle's jack.", {
        {"voltage_two_digits", "the usual"},
        {"voltage_one_digit", "below 10 V"},
        {"voltage_nine_to_ten", "then above"},
        {"voltage_from_jack", "no supply: from the jack, once `/tmp/.app_rcv_command_ready` is there"},
        {"voltage_lost", "neither any more"},
        {"voltage_none", "neither from the start"},
    }};

const std::vector<GallerySection> &gallery_sections() {
    static const std::vector<GallerySection> sections = {starts,   channels, modes,
                                                         overlays, firmware, voltage};
    return sections;
}

} // namespace desk
