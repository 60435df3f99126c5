// Golden panels of the boxes that commands raise over the normal screen.
#include "golden.h"
#include "support.h"

namespace end_to_end {

// What lies inside a box's frame; beside it the screen below lives on.
static desk::Picture inside(const desk::Picture &picture) { return picture.part(8, 8, 92, 46); }

class OverlayPictures : public BothPanels {
protected:
    void expect(GoldenName name, const std::string &eye) {
        expect_golden(desk(), GetParam(), name, eye);
    }
};

INSTANTIATE_TEST_SUITE_P(, OverlayPictures, ::testing::Bool(), panel_name);

TEST_P(OverlayPictures, Reboot) {
    prepare_and_start();
    command("Reboot");
    expect(GOLDEN("overlay_reboot"), "PLEASE over REBOOT beside the arrow, in a white frame");
    const desk::Picture reboot = desk().picture();
    prepare_and_start();
    command("Req_reboot");
    EXPECT_EQ(desk().picture(), reboot);
}

TEST_P(OverlayPictures, Ignition) {
    prepare_and_start();
    command("Check_Igni");
    expect(GOLDEN("overlay_ignition"), "CHECK over IGNITION beside the car, in a white frame");
}

TEST_P(OverlayPictures, ErrorWithShortCode) {
    prepare_and_start();
    error_code("A12");
    expect(GOLDEN("overlay_error_short"), "ERROR over A12 beside the crossed circle");
}

TEST_P(OverlayPictures, ErrorWithoutText) {
    prepare_and_start();
    error_code("");
    expect(GOLDEN("overlay_error_empty"), "ERROR alone beside the crossed circle");
}

TEST_P(OverlayPictures, ErrorWithLongCode) {
    prepare_and_start();
    error_code(std::string(127, 'M'));
    expect(GOLDEN("overlay_error_127_bytes"),
           "a line of M over the icon and both sides of the frame, ERROR left of the panel");
}

TEST_P(OverlayPictures, ErrorWithSeveralLines) {
    prepare_and_start();
    error_code("LINE 1\nLINE 2\nLINE 3");
    expect(GOLDEN("overlay_error_several_lines"), "ERROR and three lines, the outer ones reaching to the frame");
}

TEST_P(OverlayPictures, WifiError) {
    prepare_and_start();
    error_code("WIFI42");
    expect(GOLDEN("overlay_wifi_error"), "ERROR: WIFI over Connection beside the crossed circle, no 42");
}

TEST_P(OverlayPictures, CoprocessorError) {
    prepare_and_start();
    command("M4_error");
    expect(GOLDEN("overlay_m4_error"), "ERROR over LX-M4-1 beside the crossed circle");
}

TEST_P(OverlayPictures, FirmwareBar) {
    prepare_and_start();
    desk().send_and_settle("cd_update", {10, "FT_MAINAPP_J2534"}, 50);
    expect(GOLDEN("firmware_bar_empty"), "FW UPGRADE... over the small FT_MAINAPP_J2534, an empty bar");
    desk().advance(5300);
    expect(GOLDEN("firmware_bar_half"), "the bar is half full");
    desk().advance(5000);
    expect(GOLDEN("firmware_bar_full"), "the bar is full");
    desk().advance(20000);
    EXPECT_EQ(inside(desk().picture()), inside(golden(GetParam(), "firmware_bar_full"))) << "it stays full";
}

TEST_P(OverlayPictures, FirmwareOfAnotherType) {
    prepare_and_start();
    desk().send_and_settle("cd_update", {10, "FT_MAINAPP_J2534"}, 5300);
    desk().send_and_settle("cd_update", {4, "BOOT"}, 200);
    expect(GOLDEN("firmware_restarted"), "the small text BOOT centred, the bar run back to empty");
}

TEST_P(OverlayPictures, FirmwareWithoutType) {
    prepare_and_start();
    desk().send_and_settle("M4_update", {}, 50);
    expect(GOLDEN("firmware_without_type"), "FW UPGRADE... over the small word Text, an empty bar");
    desk().advance(5000);
    EXPECT_EQ(inside(desk().picture()), inside(golden(GetParam(), "firmware_without_type")))
        << "a bar of no length stays empty";
}

TEST_P(OverlayPictures, FirmwareBuiltTwice) {
    prepare_and_start();
    desk().send_and_settle("cd_update", {10, "TWICE"}, 5300);
    desk().send_and_settle("M4_update", {}, 50);
    expect(GOLDEN("m4_update_over_cd_update"), "a fresh box with TWICE and an empty bar over the old one");
    desk().send_and_settle("clear_msg", {}, 50);
    expect(GOLDEN("m4_update_over_cd_update_cleared"), "the old box with its half full bar is left for good");
}

TEST_P(OverlayPictures, CoprocessorUpdateTwice) {
    prepare_and_start();
    desk().send_and_settle("M4_update", {}, 50);
    desk().send_and_settle("M4_update", {}, 50);
    EXPECT_EQ(desk().picture(), golden(GetParam(), "firmware_without_type"))
        << "both boxes lie at the same place";
    desk().send_and_settle("clear_msg", {}, 50);
    EXPECT_EQ(desk().picture(), golden(GetParam(), "firmware_without_type")) << "the first box is left";
}

TEST_P(OverlayPictures, UsbBox) {
    prepare_and_start();
    command("USB_update");
    expect(GOLDEN("usb_box"), "USB, Upgrade and ... centred in a framed box");
    command("clear_msg");
    expect(GOLDEN("usb_box_for_good"), "the USB box as before: nothing takes it away");
}

TEST_P(OverlayPictures, RebootOverUsbBox) {
    prepare_and_start();
    command("USB_update");
    command("USB_done");
    expect(GOLDEN("usb_done_over_usb_box"), "the reboot box over the USB box, which it covers on the layout's panel");
}

TEST_P(OverlayPictures, RebootOverError) {
    prepare_and_start();
    error_code("A12");
    command("USB_done");
    expect(GOLDEN("usb_done_over_error"), "the reboot box alone to be seen: it covers the error box");
    command("clear_msg");
    expect(GOLDEN("usb_done_over_error_cleared"), "the error box is back and stays: only the reboot box was tracked");
    command("clear_msg");
    EXPECT_EQ(inside(desk().picture()), inside(golden(GetParam(), "usb_done_over_error_cleared")));
}

TEST_P(OverlayPictures, EachClosesTheOneBefore) {
    prepare_and_start();
    command("chan_usb");
    for (const char *word : {"Reboot", "Req_reboot", "Check_Igni"}) {
        error_code("A12");
        command(word);
        command("clear_msg");
        EXPECT_EQ(desk().picture().part(0, 0, 64, 48), golden(GetParam(), "view_usb").part(0, 0, 64, 48))
            << word;
    }
}

} // namespace end_to_end
