#include "tools/options.h"

#include <charconv>

#include "tools/errors.h"

namespace displayctl {

Options::Options(int argc, char **argv, const option *table) : argc_(argc), argv_(argv), table_(table) {
    optind = 0; // glibc: begin anew
    opterr = 0; // we say it ourselves
}

int Options::next() {
    const int found = getopt_long(argc_, argv_, ":h", table_, nullptr);
    const std::string word = optind > 0 ? argv_[optind - 1] : "";
    if (found == ':') throw UsageError("the option '" + word + "' needs a value behind it");
    if (found != '?') return found;
    // A cluster of short options stands still until its last letter, hence the letter itself.
    const bool short_option = optopt > 0 && optopt < 256;
    const std::string name = short_option ? std::string("-") + char(optopt) : word;
    throw UsageError("unknown option '" + name + "': put '--' before arguments that begin with '-'");
}

std::string Options::value() const { return optarg != nullptr ? optarg : ""; }

std::vector<std::string> Options::operands() const { return {argv_ + optind, argv_ + argc_}; }

int number_from(const std::string &what, const std::string &text, int smallest, int largest) {
    int number = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && stopped == end && number >= smallest && number <= largest) return number;
    throw UsageError(what + " must be a whole number from " + std::to_string(smallest) + " to " +
                     std::to_string(largest) + ", not '" + text + "'");
}

} // namespace displayctl
