// The screen of a unit in production test: four rows that say which unit it is.
#pragma once

/// Builds the production screen on the active screen, sets `prod_mode` and creates the meter's and the
/// progress bar's tasks, paused. Runs the jack command once for its effect. Called once, at start-up.
void production_screen_create();
