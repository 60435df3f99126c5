// Whatever stands in the files that are read, and files that are folders or pipes.
#include "display.h"
#include "probes/readers.h"

static void any_file(FuzzedDataProvider &bytes, const char *path) {
    switch (bytes.ConsumeIntegralInRange(0, 9)) {
        case 0: remove_file(path); break;
        case 1: make_folder(path); break;
        case 2: make_fifo(path); break;
        default: write_file(path, bytes.ConsumeRandomLengthString(9000)); break;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const char *const files[] = {FILE_SERIAL_NUMBER,
                                        FILE_BLUETOOTH_NAME,
                                        FILE_FW_TYPE_RUNNING,
                                        IIO_SCALE,
                                        IIO_RAW,
                                        "/sys/class/net/wlan0/link_mode",
                                        "/sys/class/net/wlan0/operstate"};
    FuzzedDataProvider bytes(data, size);
    Display display;
    for (const char *path : files) any_file(bytes, path);
    display.start(bytes.ConsumeEnum<Start>());
    for (int i = 0; i < 6; i++) {
        display.pass(bytes.ConsumeIntegralInRange(1, 1200));
        any_file(bytes, bytes.PickValueInArray(files));
        display.receive(any_message(bytes));
    }
    display.pass(600);
    return 0;
}
