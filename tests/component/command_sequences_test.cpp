// All pairs and triples of commands. Without time between them the record, the boxes and the tasks are
// compared with the plain model after each command; with time between them, so that every task and the
// drawing come upon what the commands left, the question is whether the display is alive and whole.
// With each LVGL object a heap block of its own (sanitizer builds) a deleted one that is still used ends the
// run.
#include "messages.h"
#include "model.h"
#include "support.h"
#include "widgets.h"

// Each word, and the two with arguments in all their forms.
struct Command {
    std::string word;
    std::optional<int32_t> seconds;
    std::optional<std::string> text;
};

static std::vector<Command> all_commands() {
    std::vector<Command> commands;
    for (const std::string &word : ALL_WORDS) commands.push_back({word, {}, {}});
    for (const char *code : {"E42", "WIFI01", "CWIFI01"}) commands.push_back({"Error_Code", {}, code});
    commands.push_back({"cd_update", 2, {}});
    commands.push_back({"cd_update", 3, "FT_MAIN"});
    return commands;
}

static void send(const Command &command) {
    Message message(command.word.c_str());
    if (command.seconds) message.with(*command.seconds);
    if (command.text) message.with(*command.text);
    dispatch_message(message);
}

class CommandSequences : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        answer_commands([](const std::string &) { return ""; });
    }

    void begin(bool production) {
        production ? build_production_screen() : build_status_screen();
        log_lines.clear();
        start = Model::of_display();
    }

    // Back to the screen as it was begun, without building it anew.
    void start_over() {
        remove_boxes_beyond(start.other_objects);
        display_state = start.state;
        lv_task_set_prio(display_state.voltage_task, static_cast<lv_task_prio_t>(start.voltage_prio));
        lv_task_set_prio(display_state.progress_task, static_cast<lv_task_prio_t>(start.progress_prio));
        if (display_state.fw_status_label) lv_label_set_text(display_state.fw_status_label, "FW: Updating...");
    }

    // One command on the display and on the model.
    std::string difference_after(Model &model, const Command &command) {
        log_lines.clear();
        model.command(command.word, command.seconds, command.text);
        send(command);
        return model.difference();
    }

    void compare_all_triples(bool production) {
        const std::vector<Command> commands = all_commands();
        begin(production);
        for (const Command &first : commands) {
            for (const Command &second : commands) {
                for (const Command &third : commands) {
                    start_over();
                    Model model = start;
                    for (const Command *command : {&first, &second, &third}) {
                        ASSERT_EQ(difference_after(model, *command), "")
                            << first.word << ", " << second.word << ", " << third.word << ": at " << command->word;
                    }
                }
            }
        }
    }

    Model start;
};

TEST_F(CommandSequences, AllTriplesDoAsTheModel) { compare_all_triples(false); }

TEST_F(CommandSequences, AllTriplesInProductionDoAsTheModel) { compare_all_triples(true); }

// ---- With time

static void let_pass(uint32_t ms) {
    test_clock_us += int64_t{ms} * 1000;
    lv_task_handler();
}

// Enough for a drawing, an animation in its middle and at its end, and a run of every task.
static void live_a_while() {
    let_pass(10);
    let_pass(40);
    let_pass(1000);
    let_pass(1000);
}

TEST_F(CommandSequences, AllPairsWithTimeBetween) {
    const std::vector<Command> commands = all_commands();
    for (const bool production : {false, true}) {
        for (const Command &first : commands) {
            for (const Command &second : commands) {
                begin(production);
                send(first);
                live_a_while();
                send(second);
                live_a_while();
                run_for(150);
                ASSERT_LE(lv_obj_count_children(active_screen()), start.other_objects + 2);
                // Alive: the box a command brings now still comes up.
                send_command("Check_Igni");
                ASSERT_TRUE(display_state.ignition_shown) << first.word << ", " << second.word;
                log_lines.clear();
                shell_commands.clear();
            }
        }
    }
}

// The first command by number, so that the cases can run side by side.
class Triples : public CommandSequences, public ::testing::WithParamInterface<size_t> {};

TEST_P(Triples, WithTimeBetween) {
    const std::vector<Command> commands = all_commands();
    const Command &first = commands[GetParam()];
    begin(false);
    for (const Command &second : commands) {
        for (const Command &third : commands) {
            begin(false);
            for (const Command *command : {&first, &second, &third}) {
                send(*command);
                let_pass(10);
                let_pass(990);
            }
            let_pass(1000);
            send_command("Check_Igni");
            ASSERT_TRUE(display_state.ignition_shown) << first.word << ", " << second.word << ", " << third.word;
            log_lines.clear();
            shell_commands.clear();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachFirst, Triples, ::testing::Range(size_t{0}, all_commands().size()));
