// Every file and tool that the display looks at, and the ways of reading them. Other services speak to the display
// through these files; it only tests and reads them and never writes one. Nothing here blocks on a FIFO, allocates,
// or reads more than its buffer.
//
// The paths have their only home here; the simulator takes them from this list.
#pragma once

#include <stddef.h>

// ---- Flag files and identity
constexpr char FLAG_ACTIVITY_ALT[] = "/tmp/bada";                ///< presence: other activity pictures
constexpr char FLAG_VCI_READY[] = "/tmp/.app_rcv_command_ready"; ///< presence: the jack command may be run
constexpr char FILE_FW_TYPE_RUNNING[] = "/tmp/fw_type_running";  ///< first line: firmware type now running
constexpr char FLAG_NO_AP[] = "/userdata/configs/no_ap";         ///< presence: hotspot is configured off
constexpr char FLAG_WIFI_DEBUG[] = "/userdata/debug_wlan0";      ///< presence at start-up: Wi-Fi debug panel
constexpr char FILE_SERIAL_NUMBER[] = "/rodata/serial_number";   ///< first line: serial number
constexpr char FILE_BLUETOOTH_NAME[] = "/rodata/bluetooth_name"; ///< first line: key=name
constexpr char FLAG_WARRANTY_LOCK[] = "/rodata/wlock";           ///< absence: "NO WARRANTY"
/// presence at start-up: production screen
constexpr char FLAG_PRODUCTION_TEST[] = "/usr/local/bin/zor-destroy-hwtest.sh";

// ---- Linux sysfs
constexpr char IIO_SCALE[] = "/sys/bus/iio/devices/iio:device0/in_voltage_scale"; ///< millivolts per count
constexpr char IIO_RAW[] = "/sys/bus/iio/devices/iio:device0/in_voltage0_raw";    ///< counts
/// IF_LINK_MODE_DORMANT (1) while wpa_supplicant runs it
constexpr char WLAN_LINK_MODE[] = "/sys/class/net/wlan0/link_mode";
constexpr char WLAN_OPERSTATE[] = "/sys/class/net/wlan0/operstate"; ///< RFC 2863 state as a word; "up" counts

// ---- Tools, as a shell takes them
constexpr char JACK_COMMAND[] = "/usr/local/bin/vcicp vjack";                       ///< prints millivolts
constexpr char SIGNAL_COMMAND[] = "iw dev wlan0 link|grep signal|awk '{print $2}'"; ///< prints dBm
constexpr char SSID_COMMAND[] = "iw wlan0 info|grep ssid|awk '{$1=\"\"; print substr($0,2)}'";
constexpr char NOISE_COMMAND[] = "wl noise"; ///< prints dBm

/// True when `path` exists, whatever it is; its content is never read.
bool file_exists(const char *path);

enum class FirstLine {
    missing, ///< the file cannot be opened
    none,    ///< it can, but holds no line
    read,
};

/// Reads the first line of `path` without its newline into `line` (at most `size` - 1 bytes). `line` is left
/// alone when there is none.
FirstLine read_first_line(const char *path, char *line, size_t size);

/// Reads the first blank-separated word of `path` into `word` (at most `size` - 1 bytes). Only the file's first
/// kilobyte is looked at. Returns whether the file could be opened; `word` is left alone when it could not, or
/// holds no word.
bool read_word(const char *path, char *word, size_t size);

/// Runs `command` through a shell to its end and reads its output line by line into `line`, at most `limit` - 1 bytes
/// a piece; the last piece read stays, and `line` is left alone when there was no output. Blocks until the command
/// ends. Returns false when it could not be started.
bool read_last_line(const char *command, char *line, int limit);
