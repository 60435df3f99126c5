// The table of keys and its two legends.
#include "simulator/live/live_keys.h"

#include <algorithm>

#include "simulator/scenario/scenario.h"
#include "client/vocabulary.h"

namespace desk {

struct KeyRow {
    char key;
    const char *send;
};

// A capital is the opposite of its small letter, where there is one.
static constexpr KeyRow table[] = {
    {'u', "chan_usb"},
    {'b', "chan_bt"},
    {'h', "chan_ap"},
    {'s', "chan_sta"},
    {'v', "chan_vpn"},
    {'t', "chan_timeout"},
    {'r', "M4_ready"},
    {'c', "M4_COMM"},
    {'j', "M4_J2534"},
    {'n', "M4_none"},
    {'a', "REC_ON"},
    {'A', "REC_OFF"},
    {'d', "DoIP_on"},
    {'D', "DoIP_off"},
    {'l', "rj45_pt_enable"},
    {'L', "rj45_pt_disable"},
    {'o', "p_off"},
    {'p', "p_on"},
    {'e', "Error_Code E12"},
    {'w', "Error_Code WIFI12"},
    {'W', "Error_Code CWIFI12"},
    {'i', "Check_Igni"},
    {'R', "Reboot"},
    {'m', "clear_msg"},
    {'f', "cd_update 120 MAIN_FW"},
    {'y', "M4_done"},
    {'x', "M4_error"},
};

static Key checked(const KeyRow &row) {
    desk::parse_action(std::string("send ") + row.send); // throws
    const std::string command = row.send;
    const std::string word = command.substr(0, command.find(' '));
    const client::Word *known = client::acting_word(word);
    if (known == nullptr || known->word != word) {
        throw desk::Error("the key " + std::string(1, row.key) + " sends the unknown word " + word);
    }
    return {row.key, row.send, known->group};
}

static std::vector<Key> checked_table() {
    std::vector<Key> all;
    for (const KeyRow &row : table) all.push_back(checked(row));
    return all;
}

const std::vector<Key> &keys() {
    static const std::vector<Key> all = checked_table();
    return all;
}

const Key *key_of(char pressed) {
    for (const Key &key : keys()) {
        if (key.key == pressed) return &key;
    }
    return nullptr;
}

/* ---- legends ---- */

// As many on a line as fit; `width` is what each takes at least.
static std::string in_lines(const std::vector<std::string> &items, size_t columns, size_t width) {
    std::string text;
    size_t used = 0;
    for (std::string item : items) {
        item.resize(std::max(width, item.size()), ' ');
        if (used > 0 && used + 2 + item.size() > columns) {
            text += '\n';
            used = 0;
        } else if (used > 0) {
            text += "  ";
            used += 2;
        }
        text += item;
        used += item.size();
    }
    return text;
}

std::string compact_legend(int columns) {
    std::vector<std::string> items;
    for (const std::string &group : client::vocabulary_groups()) {
        std::string item;
        for (const Key &key : keys()) {
            if (key.group == group) item += key.key;
        }
        if (!item.empty()) items.push_back(group + " " + item);
    }
    items.push_back(std::string("time ") + key_pauses + key_steps + key_steps_far + key_slower + key_faster);
    items.push_back(std::string(1, key_lists) + " lists");
    items.push_back(std::string(1, key_quits) + " ends");
    return in_lines(items, static_cast<size_t>(columns), 0);
}

std::string full_legend(int columns) {
    std::vector<std::string> items;
    for (const Key &key : keys()) items.push_back(std::string(1, key.key) + " " + key.send);
    items.push_back(std::string(1, key_pauses) + " pause, go on");
    items.push_back(std::string(1, key_steps) + " pause, 100 ms on");
    items.push_back(std::string(1, key_steps_far) + " pause, 1 s on");
    items.push_back(std::string(1, key_slower) + " slower");
    items.push_back(std::string(1, key_faster) + " faster");
    items.push_back(std::string(1, key_lists) + " shorter");
    items.push_back(std::string(1, key_quits) + " ends");
    size_t width = 0;
    for (const std::string &item : items) width = std::max(width, item.size());
    return in_lines(items, static_cast<size_t>(columns), width);
}

} // namespace desk
