// The daemon as fuzz targets drive it: record, screen, tasks and listener of the component tests, made anew for each
// input, and what must hold however it ends.
#pragma once

#include <dbus/dbus.h>
#include <fuzzer/FuzzedDataProvider.h>

#include "component/listener_bus.h"
#include "component/messages.h"
#include "component/support.h"

/// The three screens that a start leads to.
enum class Start { status, wifi_debug, production, kMaxValue = production };

class Display : private ComponentTest {
public:
    /// Every tool prints nothing and no file is there unless the target has made it so before `start`.
    Display();
    ~Display() override;
    void start(Start start);
    /// Delivers it, and takes it in the next pass.
    void receive(DBusMessage *message);
    /// So many passes of the loop.
    void pass(int ms);

private:
    void TestBody() override {}
    DBusConnection *connection = nullptr;
};

/// A signal with any word and any arguments: of all types, nested, none.
DBusMessage *any_message(FuzzedDataProvider &bytes);
