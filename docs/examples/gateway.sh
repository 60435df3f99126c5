#!/bin/sh
# A service of the box in a few lines: it tells the display what it does and leaves a flag file.
set -eu

tell() {
    dbus-send --system --type=signal /zor/signal zor.signal.Type.Display "$@"
}

tell string:chan_bt
tell string:M4_ready
sleep 1
tell string:cd_update int32:60 string:GATEWAY
sleep 2
touch /userdata/configs/no_ap
tell string:M4_done
sleep 1
tell string:chan_timeout
