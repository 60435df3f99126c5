// The mode row by real signals, read back from the layout's panel: each sequence of commands and the text it
// ends on.
#include "golden.h"
#include "support.h"

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
