// Unix signals: the daemon handles none, so a service manager's end it at once, and the panel keeps what it shows.
#include <csignal>

#include "support.h"

namespace end_to_end {

class Signals : public DaemonTest {};

TEST_F(Signals, EndItAtOnceAndLeaveThePicture) {
    expect_end();
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) {
        prepare();
        start();
        command("chan_usb");
        const panel::Picture before = desk().picture();
        ASSERT_EQ(kill(desk().daemon_pid(), number), 0);
        EXPECT_EQ(desk().wait_for_exit(), 128 + number);
        EXPECT_EQ(desk().picture(), before);
    }
}

} // namespace end_to_end
