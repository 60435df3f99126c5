// Any messages in any order, with flag files coming and going and time passing between them.
#include "display.h"
#include "probes/readers.h"

static void toggle(FuzzedDataProvider &bytes) {
    static const char *const flags[] = {FLAG_ACTIVITY_ALT, FLAG_WARRANTY_LOCK, FLAG_NO_AP, FLAG_VCI_READY};
    const char *flag = bytes.PickValueInArray(flags);
    if (file_exists(flag)) {
        remove_file(flag);
    } else {
        write_file(flag, "");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider bytes(data, size);
    Display display;
    display.start(bytes.ConsumeEnum<Start>());
    for (int i = 0; i < 200 && bytes.remaining_bytes() > 0; i++) {
        switch (bytes.ConsumeIntegralInRange(0, 7)) {
            case 0: toggle(bytes); break;
            case 1: display.pass(bytes.ConsumeIntegralInRange(1, 2500)); break;
            default: display.receive(any_message(bytes)); break;
        }
    }
    display.pass(600);
    return 0;
}
