// The small files by which the box's other services speak to the display, and the activity icon, whose
// pictures one of them chooses. The display only tests and reads them; it never writes one.
#pragma once

#include "lvgl.h"

constexpr char FLAG_ACTIVITY_ALT[] = "/tmp/bada";                       ///< presence: other activity pictures
constexpr char FLAG_VCI_READY[] = "/tmp/.app_rcv_command_ready";        ///< presence: the jack command may be run
constexpr char FILE_FW_TYPE_RUNNING[] = "/tmp/fw_type_running";         ///< first line: firmware type now running
constexpr char FLAG_NO_AP[] = "/userdata/configs/no_ap";                ///< presence: hotspot is configured off
constexpr char FLAG_WIFI_DEBUG[] = "/userdata/debug_wlan0";             ///< presence at start-up: Wi-Fi debug panel
constexpr char FILE_SERIAL_NUMBER[] = "/rodata/serial_number";          ///< first line: serial number
constexpr char FILE_BLUETOOTH_NAME[] = "/rodata/bluetooth_name";        ///< first line: key=name
constexpr char FLAG_WARRANTY_LOCK[] = "/rodata/wlock";                  ///< absence: "NO WARRANTY"
constexpr char FLAG_PRODUCTION_TEST[] = "/usr/local/bin/zor-destroy-hwtest.sh";  ///< presence at start-up: production screen

/// LVGL task, every 100 ms: moves the activity icon through its frames, 1, 2, 3, 2, in six seconds.
void activity_icon_task(lv_task_t *task);
