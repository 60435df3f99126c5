// The boxes laid over the screen: reboot, error, ignition, firmware progress, USB upgrade.
//
// At most one box is tracked in `display_state.overlay`. No show operation closes what is already up: a
// second build leaves the first container on the screen for good, under the new one. Commands that want
// the old one gone call close_overlays first.
#pragma once

#include "lvgl.h"

void show_reboot_overlay();   ///< "PLEASE\nREBOOT"; sets reboot_shown
void show_error_overlay();    ///< the content of error_text; sets error_shown
void show_ignition_overlay(); ///< "   CHECK  \nIGNITION"; sets ignition_shown

/// Firmware progress box with fw_type and a bar from 0 to fw_time_to_full; starts progress_task and sets
/// fw_overlay_shown. Neither reads nor resets fw_progress.
void show_fw_overlay();

/// Starts the bar of the firmware box that is up anew: fw_progress 0, type and range from the record.
void restart_fw_overlay();

/// Draws the "USB\nUpgrade\n..." box. It is not tracked and stays until the process ends.
void show_usb_box();

/// Deletes the tracked overlay, clears the four flags, pauses progress_task and resumes voltage_task.
/// Does nothing at all when no overlay is up.
void close_overlays();

/// True while at least one tracked overlay is up.
bool any_overlay_shown();

/// LVGL task, every 1000 ms while on: advances the firmware bar by one step.
void progress_step(lv_task_t *task);
