#include "app/display_state.h"

DisplayState display_state;
