// The mode row by real signals, read back from the layout's panel: each sequence of commands and the text it
// ends on.
#include "golden.h"
#include "support.h"

#include <sys/inotify.h>
#include <unistd.h>

namespace end_to_end {

struct Sequence {
    std::vector<const char *> words;
    const char *mode;
};

class Modes : public DaemonTest {
protected:
    void SetUp() override { prepare_layout(); }

    void expect_modes(const std::vector<Sequence> &sequences) {
        for (const Sequence &sequence : sequences) {
            std::string told;
            for (const char *word : sequence.words) {
                command(word);
                told += std::string(" ") + word;
            }
            EXPECT_EQ(shown_mode(desk()), sequence.mode) << "after" << told;
        }
    }
};

// Tells when a file is opened, whoever does it and through whatever path.
class Opened {
public:
    explicit Opened(const std::string &host_path) : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        if (inotify_add_watch(events_, host_path.c_str(), IN_OPEN) < 0) throw desk::system_error("can't watch it");
    }
    ~Opened() { close(events_); }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;

    bool since_last_asked() {
        char events[4096];
        return read(events_, events, sizeof(events)) > 0;
    }

private:
    int events_;
};

// The mode row's task looks at the file of the running firmware, so that tells in which pass it runs: each 500 ms. A
// command that comes before that pass is taken behind the tasks, and the row follows with the task's next run.
TEST_F(Modes, CommandIsTakenBehindThePassesTasks) {
    desk().box().set_firmware_type("FT_BOOT");
    start();
    run_until(2000);
    command("M4_none");
    Opened file(desk().box().host_path("/tmp/fw_type_running"));
    ASSERT_TRUE(desk().advance_until([&] { return file.since_last_asked(); }, 600));
    desk().advance(499);
    ASSERT_FALSE(file.since_last_asked()) << "the task runs in the next pass";
    desk().bus().send("M4_COMM");
    desk().advance(1);
    EXPECT_EQ(desk().log().count("Got Signal with value M4_COMM"), 1);
    EXPECT_TRUE(file.since_last_asked());
    desk().advance(400);
    EXPECT_EQ(shown_mode(desk()), "READY");
    desk().advance(200);
    EXPECT_EQ(shown_mode(desk()), "DIAGNOSIS");
}

TEST_F(Modes, EachCommandAlone) {
    start();
    expect_modes({
        {{"M4_done"}, "READY"},
        {{"M4_COMM"}, "DIAGNOSIS"},
        {{"M4_ready"}, "READY"},
        {{"M4_J2534"}, "PASSTHRU"},
        {{"M4_none"}, "READY"},
        {{"REC_ON"}, "REC ..."},
        {{"M4_COMM"}, "REC ON"},
        {{"REC_OFF"}, "READY"},
        {{"rj45_pt_enable"}, "DOIP ETHERNET"},
        {{"rj45_pt_disable"}, "READY"},
        {{"DoIP_on"}, "DOIP"},
        {{"DoIP_off"}, "READY"},
        {{"p_off"}, "POWER DOWN"},
        {{"p_on"}, "RESTARTING..."},
    });
}

TEST_F(Modes, WordsThatRespectPowerDown) {
    start();
    for (const char *word : {"M4_ready", "M4_none", "REC_OFF", "DoIP_off", "rj45_pt_disable", "rj45_pt_enable"}) {
        expect_modes({{{"p_off", word}, "POWER DOWN"}});
    }
}

TEST_F(Modes, WordsThatEndPowerDown) {
    start();
    expect_modes({
        {{"p_off", "M4_COMM"}, "DIAGNOSIS"},
        {{"p_off", "M4_J2534"}, "PASSTHRU"},
        {{"p_off", "REC_ON"}, "REC ..."},
        {{"p_off", "DoIP_on"}, "DOIP"},
        {{"p_off", "p_on"}, "RESTARTING..."},
    });
}

// Done raises ready even now, but the pass over the row ends at the text that is already right.
TEST_F(Modes, DoneDuringPowerDown) {
    start();
    expect_modes({{{"p_off", "M4_done"}, "POWER DOWN"}});
}

TEST_F(Modes, RecordingConfirmedLater) {
    start();
    expect_modes({
        {{"REC_ON"}, "REC ..."},
        {{"M4_COMM"}, "REC ON"},
        {{"M4_ready"}, "READY"},
        {{"REC_ON"}, "REC ON"},
        {{"p_off", "REC_OFF"}, "POWER DOWN"},
        {{"REC_ON"}, "REC ..."},
    });
}

TEST_F(Modes, AnythingBehindAWordIsIgnored) {
    start();
    expect_modes({
        {{"REC_ONLY"}, "REC ..."},
        {{"M4_COMMUNICATION"}, "REC ON"},
        {{"DoIP_on please"}, "DOIP"},
        {{"DoIP_o"}, "DOIP"},
        {{"rec_off"}, "DOIP"},
    });
}

TEST_F(Modes, NoWarrantyBeatsReady) {
    box().set_warranty_lock(false);
    start();
    expect_modes({{{"M4_ready"}, "NO WARRANTY"}});
}

TEST_F(Modes, PowerDownShowsNoVoltage) {
    start();
    command("M4_ready");
    const panel::Picture measured = desk().picture().part(0, 16, 73, 33);
    command("p_off");
    const panel::Picture hidden = desk().picture().part(0, 16, 73, 33);
    EXPECT_EQ(hidden, golden(true, "start/start_screen").part(0, 16, 73, 33)) << "-.-v";
    command("M4_J2534");
    EXPECT_EQ(desk().picture().part(0, 16, 73, 33), measured);
}

} // namespace end_to_end
