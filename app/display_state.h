// The one record of what the display knows and shows.
//
// What several files share, and what says which state the display is in, grouped by the file that owns it. Formatting
// buffers and what a file keeps for itself stand there. There is exactly one instance, `display_state`; everything
// runs on one thread, so nothing is locked.
//
// The probes write their results here and know nothing of LVGL, so this header does not either: handles are names.
#pragma once

#include <stddef.h>
#include <stdint.h>

typedef struct _lv_obj_t lv_obj_t;
typedef struct _lv_task_t lv_task_t;

/// Size of every text buffer for a label, terminator included; longer texts are cut, see screen/widgets.h.
constexpr size_t TEXT_SIZE = 128;

/// What the connectivity row shows now. The numbers are codes, not an order.
enum ConnView : int32_t {
    CONN_STATION = 0,
    CONN_USB = 1,
    CONN_HOTSPOT = 2,
    CONN_BLUETOOTH = 4,
    CONN_ICONS = 5,
    CONN_VPN = 6,
    CONN_SERIAL = 999,
};

struct DisplayState {
    // ---- Mode flags. Written by app/dispatch.cpp, no_warranty by app/main.cpp; screen/mode_line.cpp shows them and
    // clears those that lose.
    bool no_warranty = false;        ///< "/rodata/wlock" is absent; refreshed after every message
    bool mode_diagnosis = false;     ///< the M4 coprocessor reports communication
    bool mode_doip_ethernet = false; ///< RJ45 pass-through enabled
    bool mode_rec = false;           ///< recording requested
    bool rec_active = false;         ///< recording confirmed by the coprocessor: "REC ON" instead of "REC ..."
    bool mode_doip = false;          ///< DoIP communication on
    bool mode_passthru = false;      ///< J2534 pass-thru in use; also written from "/tmp/fw_type_running"
    bool power_down = false;         ///< the box is powering down
    bool restarting = false;         ///< power returned, the box restarts
    bool ready = false;              ///< idle and ready

    // ---- Channel flags. Written by app/dispatch.cpp, shown by screen/connectivity_line.cpp.
    bool chan_vpn = false;
    bool chan_usb = false;
    bool chan_ap = false;
    bool chan_sta = false; ///< also written by connectivity_refresh, every two seconds
    bool chan_bt = false;

    // ---- Connectivity row (screen/connectivity_line.cpp).
    lv_obj_t *conn_box = nullptr;      ///< the row; NULL on the production screen
    int32_t conn_shown = CONN_STATION; ///< a ConnView; starts as the station's code although the row is empty
    char last_quality[8] = "";         ///< the quality text last drawn
    lv_obj_t *quality_icon = nullptr;  ///< the signal image; valid only while conn_shown is CONN_STATION

    // ---- Mode row (created by screen/status_screen.cpp; all NULL on the production screen).
    lv_obj_t *mode_box = nullptr;
    lv_obj_t *mode_label = nullptr;          ///< written by screen/mode_line.cpp
    lv_obj_t *activity_icon = nullptr;       ///< animated by screen/activity_icon.cpp
    lv_obj_t *voltage_source_icon = nullptr; ///< switched by screen/measurement_area.cpp

    // ---- Overlays (screen/overlays.cpp; flags tested and cleared by app/dispatch.cpp).
    lv_obj_t *overlay = nullptr; ///< container of the tracked overlay; valid only while one of the flags is set
    bool reboot_shown = false;
    bool error_shown = false;
    bool fw_overlay_shown = false;
    bool ignition_shown = false;
    bool wifi_error_latched = false;     ///< a Wi-Fi error has been shown once; never cleared
    char error_text[TEXT_SIZE] = "";     ///< text of the error overlay, written by app/dispatch.cpp
    const char *fw_type = nullptr;       ///< NULL until "cd_update" named a type, then fw_type_text
    char fw_type_text[TEXT_SIZE] = "";   ///< our copy of the type: the message it came in is gone by then
    lv_obj_t *fw_type_label = nullptr;   ///< on the latest firmware overlay
    lv_obj_t *fw_progress_bar = nullptr; ///< on the latest firmware overlay
    int32_t fw_time_to_full = 0;         ///< steps (seconds) to a full bar; as received, any 32-bit value
    uint32_t fw_progress = 0;            ///< steps done; reset by "cd_update" only

    // ---- Production screen.
    bool prod_mode = false;              ///< set once at start-up
    lv_obj_t *fw_status_label = nullptr; ///< row 4; NULL on the status screen

    // ---- Tasks that commands pause and resume. The callbacks have the same names.
    lv_task_t *voltage_task = nullptr;  ///< NULL while the Wi-Fi debug panel stands in the meter's place
    lv_task_t *progress_task = nullptr; ///< off unless a firmware overlay is up

    // ---- Wi-Fi probes (probes/wifi.cpp), shown by screen/connectivity_line.cpp and screen/measurement_area.cpp.
    char wifi_ssid[64] = "";       ///< as the tool printed it, newline included; "" while the link is down
    const char *wifi_quality = ""; ///< percent as text, "1" to "100"; "" before the first reading. Never a buffer
    char debug_rssi_text[TEXT_SIZE] = "";  ///< debug panel: last line of the signal pipe
    char debug_noise_text[TEXT_SIZE] = ""; ///< debug panel: last line of "wl noise"
    lv_obj_t *debug_noise_label = nullptr; ///< NULL unless the debug panel exists
    lv_obj_t *debug_rssi_label = nullptr;

    // ---- Supply voltage (probes/voltage.cpp).
    float supply_voltage = 0;        ///< volts last computed, supply or jack; 0 while below 6 V
    float jack_voltage = 0;          ///< volts, last jack reading; 0 when it was below 6 V
    char scale_text[64] = "";        ///< last word read from the IIO scale file
    char raw_text[64] = "";          ///< last word read from the IIO raw file
    char vjack_text[TEXT_SIZE] = ""; ///< last line of the jack command

    // ---- Measurement area (screen/measurement_area.cpp).
    float voltage_min = 99.0f;         ///< volts, lowest shown since start
    float voltage_max = 0.0f;          ///< volts, highest shown since start
    uint32_t voltage_last_whole = 1;   ///< whole volts of the value last written to voltage_label
    bool source_icon_is_supply = true; ///< which source icon is up: supply (true) or jack (false)
    lv_obj_t *voltage_label = nullptr; ///< NULL on the production screen and beside the debug panel
    lv_obj_t *voltage_max_label = nullptr;
    lv_obj_t *voltage_min_label = nullptr;

    // ---- Bus (app/listener.cpp).
    bool bus_backlog = false; ///< libdbus holds messages that are read and not taken

    // ---- Activity icon (screen/activity_icon.cpp).
    int16_t activity_step = 0; ///< 0 to 59, one step every 100 ms
};

extern DisplayState display_state;
