// displayctl view: shows what a panel shows, in the terminal or as a picture file.
#include <cstdio>

#include "tools/commands.h"
#include "tools/errors.h"
#include "tools/frame_source.h"
#include "tools/options.h"
#include "tools/show.h"

namespace displayctl {

static constexpr char HELP[] =
    R"(Usage: displayctl view [--follow] [--braille | --blocks | --ascii] [--png OUT] [--pbm OUT]
                       [--size WxH] [--scale N] [FILE | -]

Shows a panel in the terminal, or writes it to picture files. FILE is a framebuffer device (/dev/fb0 when it
is left out), a raw 1-bit frame, or a plain PBM; - is standard input. A terminal gets as much of the picture
as fits, from its upper left corner; a file or a pipe gets all of it.

  --follow    show it whenever it changes, until q or Ctrl-C; in place in a terminal, else one after the
              other. From standard input raw frame after raw frame
  --blocks    draw half blocks, one column and two rows a character
  --braille   draw Braille dots, two columns and four rows a character
  --ascii     draw letters that every terminal has
              Without any of these: half blocks where they fit, Braille elsewhere; ASCII when TERM is dumb
              or the locale is not UTF-8. NO_COLOR leaves the colours out
  --png OUT   write a PNG instead (OUT - is standard output)
  --pbm OUT   write a plain PBM instead, 1 for a lit pixel (OUT - is standard output)
  --size WxH  the size of raw frames. Without it 1024 bytes are 64x128, 1056 bytes are 128x66, and whole
              memory pages, as 'cat /dev/fb0' delivers them, begin with 64x128; a followed standard input is
              64x128. A device tells its own size
  --scale N   make each pixel of the PNG N by N, from 1 to 32
  --help, -h  this text

Examples:
  displayctl view --follow
  ssh box cat /dev/fb0 | displayctl view -
  ssh box 'while sleep 0.2; do head -c 1024 /dev/fb0 || exit; done' | displayctl view --follow -
  displayctl view --png panel.png --scale 4 frame.pbm

Exit status: 0 shown, 1 it could not be read or written, 2 the command line is wrong.
)";

// ---- Command line ----

static panel::Size size_from(const std::string &text) {
    const size_t cross = text.find('x');
    if (cross == std::string::npos) {
        throw UsageError("--size must be WIDTHxHEIGHT, e.g. 64x128, not '" + text + "'");
    }
    return {number_from("the width in --size", text.substr(0, cross), 1, panel::LARGEST_SIDE),
            number_from("the height in --size", text.substr(cross + 1), 1, panel::LARGEST_SIDE)};
}

static std::string output_name(const std::string &option_name, const std::string &text) {
    if (text.empty()) throw UsageError(option_name + " needs a file name, or - for standard output");
    return text;
}

static void take_style(ViewOptions *result, panel::Style style) {
    if (result->style && *result->style != style) throw UsageError("give one of --blocks, --braille and --ascii");
    result->style = style;
}

static void take_option(ViewOptions *result, int found, const std::string &value) {
    if (found == 'h') result->help = true;
    if (found == 'f') result->follow = true;
    if (found == 'g') result->png = output_name("--png", value);
    if (found == 'b') result->pbm = output_name("--pbm", value);
    if (found == 's') result->size = size_from(value);
    if (found == 'B') take_style(result, panel::Style::half_blocks);
    if (found == 'd') take_style(result, panel::Style::braille);
    if (found == 'a') take_style(result, panel::Style::ascii);
    if (found == 'n') result->scale = number_from("--scale", value, 1, 32);
}

static void take_operands(ViewOptions *result, const std::vector<std::string> &operands) {
    if (operands.size() > 1) throw UsageError("view shows one panel: leave '" + operands[1] + "' out");
    if (!operands.empty()) result->path = operands[0];
    if (result->style && goes_to_files(*result)) {
        throw UsageError("--blocks, --braille and --ascii are for text; leave them out beside --png and --pbm");
    }
    if (result->png == "-" && result->pbm == "-") {
        throw UsageError("only one of --png and --pbm can go to standard output");
    }
}

static ViewOptions parse(int argc, char **argv) {
    static const option table[] = {
        {"help", no_argument, nullptr, 'h'},        {"follow", no_argument, nullptr, 'f'},
        {"blocks", no_argument, nullptr, 'B'},      {"braille", no_argument, nullptr, 'd'},
        {"ascii", no_argument, nullptr, 'a'},       {"png", required_argument, nullptr, 'g'},
        {"pbm", required_argument, nullptr, 'b'},   {"size", required_argument, nullptr, 's'},
        {"scale", required_argument, nullptr, 'n'}, {nullptr, 0, nullptr, 0}};
    ViewOptions result;
    Options options(argc, argv, table);
    for (int found; (found = options.next()) != -1;) {
        take_option(&result, found, options.value());
    }
    take_operands(&result, options.operands());
    return result;
}

// ---- The command ----

static void show_once(const ViewOptions &options) {
    size_t unused = 0;
    const Picture frame = read_frame(options.path, options.size, &unused);
    if (goes_to_files(options)) {
        write_files(frame, options);
    } else {
        print_frame(frame, options);
    }
    if (unused == 0) return;
    fprintf(stderr, "displayctl: note: shown as %dx%d; %zu bytes behind that frame were left out\n", frame.width(),
            frame.height(), unused);
}

int view_command(int argc, char **argv) {
    const ViewOptions options = parse(argc, argv);
    if (options.help) {
        fputs(HELP, stdout);
    } else if (options.follow) {
        follow(options);
    } else {
        show_once(options);
    }
    return 0;
}

} // namespace displayctl
