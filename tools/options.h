// What the subcommands share for reading their command line: getopt_long with our own words for errors.
#pragma once

#include <string>
#include <vector>

#include <getopt.h>

namespace displayctl {

/// One pass over a command line. Options may stand anywhere; "--" ends them.
class Options {
public:
    /// `table` as for getopt_long, ended by a row of zeros.
    Options(int argc, char **argv, const option *table);
    /// The `val` of the next option's row, or -1 behind the last. Throws UsageError on an unknown one.
    int next();
    /// The value of the option that next() returned; empty when it has none.
    std::string value() const;
    /// Everything that is no option. Only after next() returned -1.
    std::vector<std::string> operands() const;

private:
    int argc_;
    char **argv_;
    const option *table_;
};

/// `text` as a whole number from `smallest` to `largest`. Throws UsageError that names `what`.
int number_from(const std::string &what, const std::string &text, int smallest, int largest);

} // namespace displayctl
