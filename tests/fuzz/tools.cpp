// Whatever the tools print: nothing, NUL bytes, one line without an end, numbers that are none.
#include "display.h"
#include "probes/readers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider bytes(data, size);
    Display display;
    const auto start = bytes.ConsumeEnum<Start>();
    if (bytes.ConsumeBool()) {
        write_file("/sys/class/net/wlan0/link_mode", "1\n");
        write_file("/sys/class/net/wlan0/operstate", "up\n");
    }
    if (bytes.ConsumeBool()) write_file(FLAG_VCI_READY, "");
    answer_commands([&](const std::string &) -> std::optional<std::string> {
        if (bytes.ConsumeIntegralInRange(0, 15) == 0) return std::nullopt; // it can't be started
        return bytes.ConsumeRandomLengthString(5000);
    });
    display.start(start);
    for (int i = 0; i < 4; i++) {
        display.pass(1100);
        display.receive(any_message(bytes));
    }
    return 0;
}
