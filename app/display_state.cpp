// The instance of the one record; see display_state.h.
#include "app/display_state.h"

DisplayState display_state;
