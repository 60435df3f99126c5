// Small files as other services may leave them: presence, first line and first word.
#include "support.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <stdint.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "probes/readers.h"

// read() is interrupted so many times, and then gives at most so many bytes a call, when a test wants it.
static int interruptions;
static size_t bytes_a_read = SIZE_MAX;

extern "C" ssize_t __real_read(int fd, void *buffer, size_t size);
extern "C" ssize_t __wrap_read(int fd, void *buffer, size_t size);
extern "C" ssize_t __wrap_read(int fd, void *buffer, size_t size) {
    if (interruptions == 0) return __real_read(fd, buffer, std::min(size, bytes_a_read));
    --interruptions;
    errno = EINTR;
    return -1;
}

namespace {

static const std::string PATH = "/tmp/probe/text";

class TextFile : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_file(PATH);
        alarm(60); // whoever blocks on a FIFO is ended
    }
    void TearDown() override {
        alarm(0);
        interruptions = 0;
        bytes_a_read = SIZE_MAX;
        ComponentTest::TearDown();
    }
};

// A reader's buffer with known bytes before, in and behind it.
struct Buffer {
    char bytes[2048];

    Buffer() {
        memset(bytes, '~', sizeof(bytes) - 1);
        bytes[sizeof(bytes) - 1] = '\0';
    }
    char *text() { return bytes + 16; }
    std::string content() { return untouched() ? "(untouched)" : text(); }
    bool untouched() {
        return std::all_of(bytes, bytes + sizeof(bytes) - 1, [](char byte) { return byte == '~'; });
    }
    bool kept_inside(size_t size) {
        const auto known = [](char byte) { return byte == '~'; };
        return std::all_of(bytes, bytes + 16, known) && std::all_of(text() + size, bytes + sizeof(bytes) - 1, known);
    }
};

static void expect_line(const std::string &bytes, size_t size, const std::string &line) {
    write_file(PATH, bytes);
    Buffer buffer;
    EXPECT_EQ(read_first_line(PATH.c_str(), buffer.text(), size), FirstLine::read) << bytes.substr(0, 80);
    EXPECT_EQ(buffer.content(), line) << "size " << size << ": " << bytes.substr(0, 80);
    EXPECT_TRUE(buffer.kept_inside(size)) << "size " << size << ": " << bytes.substr(0, 80);
}

static void expect_word(const std::string &bytes, size_t size, const std::string &word) {
    write_file(PATH, bytes);
    Buffer buffer;
    EXPECT_TRUE(read_word(PATH.c_str(), buffer.text(), size)) << bytes.substr(0, 80);
    EXPECT_EQ(buffer.content(), word) << "size " << size << ": " << bytes.substr(0, 80);
    EXPECT_TRUE(buffer.kept_inside(size)) << "size " << size << ": " << bytes.substr(0, 80);
}

static void expect_no_word(const std::string &bytes) {
    write_file(PATH, bytes);
    Buffer buffer;
    EXPECT_TRUE(read_word(PATH.c_str(), buffer.text(), 64));
    EXPECT_TRUE(buffer.untouched());
}

static std::string up_to_nul(const std::string &text) { return text.substr(0, text.find('\0')); }

// ---- Presence

TEST_F(TextFile, ExistsWhateverItIs) {
    EXPECT_FALSE(file_exists(PATH.c_str()));
    write_file(PATH, "");
    EXPECT_TRUE(file_exists(PATH.c_str()));
    write_file(PATH, "content");
    EXPECT_TRUE(file_exists(PATH.c_str()));
    make_folder(PATH);
    EXPECT_TRUE(file_exists(PATH.c_str()));
    make_fifo(PATH);
    EXPECT_TRUE(file_exists(PATH.c_str()));
    remove_file(PATH);
    ASSERT_EQ(symlink("/tmp/probe/nowhere", PATH.c_str()), 0);
    EXPECT_FALSE(file_exists(PATH.c_str()));
    remove_file(PATH);
    EXPECT_FALSE(file_exists(PATH.c_str()));
    EXPECT_FALSE(file_exists("/tmp/no/such/folder/file"));
}

// Root may read everything, so the question is asked as somebody else.
// Root may read whatever it likes until it gives that up. Another user could not even look into the sandbox's folders.
static bool gives_up_privileges() {
    __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
    return syscall(SYS_capset, &head, none) == 0;
}

TEST_F(TextFile, ExistsForWhoMayNotReadIt) {
    write_file(PATH, "content");
    ASSERT_EQ(chmod(PATH.c_str(), 0), 0);
    const ChildOutcome outcome = in_child([] {
        if (!gives_up_privileges()) return "keeps its privileges";
        if (access(PATH.c_str(), R_OK) == 0) return "may read it all the same";
        return file_exists(PATH.c_str()) ? "exists" : "does not exist";
    });
    EXPECT_EQ(outcome.report, "exists");
}

// ---- First line

TEST_F(TextFile, FirstLineOfAMissingOrEmptyFileLeavesTheBuffer) {
    Buffer buffer;
    EXPECT_EQ(read_first_line(PATH.c_str(), buffer.text(), 64), FirstLine::missing);
    EXPECT_EQ(read_first_line("/tmp/no/such/folder/file", buffer.text(), 64), FirstLine::missing);
    write_file(PATH, "");
    EXPECT_EQ(read_first_line(PATH.c_str(), buffer.text(), 64), FirstLine::none);
    make_folder(PATH);
    EXPECT_NE(read_first_line(PATH.c_str(), buffer.text(), 64), FirstLine::read);
    EXPECT_TRUE(buffer.untouched());
}

TEST_F(TextFile, FirstLineIsTheTextBeforeTheFirstNewline) {
    expect_line("SN-0042\n", 64, "SN-0042");
    expect_line("SN-0042", 64, "SN-0042");
    expect_line("first\nsecond\nthird\n", 64, "first");
    expect_line("\nsecond\n", 64, "");
    expect_line("\n", 64, "");
    expect_line("trailing blank \n", 64, "trailing blank ");
    expect_line("  leading\tblanks\n", 64, "  leading\tblanks");
    expect_line("windows\r\n", 64, "windows\r");
}

TEST_F(TextFile, FirstLineOfEveryLengthIntoEverySize) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    for (size_t size = 2; size <= 20; ++size) {
        for (size_t length = 1; length <= letters.size(); ++length) {
            const std::string line = letters.substr(0, length);
            for (const char *rest : {"", "\n", "\nnext line"}) expect_line(line + rest, size, line.substr(0, size - 1));
        }
    }
}

TEST_F(TextFile, FirstLineFarLongerThanTheBufferIsCut) {
    for (size_t size : {2u, 64u, 128u, 1024u}) {
        expect_line(std::string(3000000, 'x'), size, std::string(size - 1, 'x'));
        expect_line(std::string(100000, 'y') + "\n", size, std::string(size - 1, 'y'));
    }
}

TEST_F(TextFile, FirstLineWithANulEndsThere) {
    const std::string bytes("abc\0def\nghi", 11);
    expect_line(bytes, 64, "abc");
    expect_line(std::string("\0\0\0", 3), 64, "");
}

TEST_F(TextFile, FirstLineOfEverySingleByte) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        expect_line(text, 64, byte == '\n' ? "" : up_to_nul(text));
        expect_line("a" + text + "b\n", 64, byte == '\n' ? "a" : up_to_nul("a" + text + "b"));
    }
}

// ---- First word

TEST_F(TextFile, WordOfAMissingFileLeavesTheBuffer) {
    Buffer buffer;
    EXPECT_FALSE(read_word(PATH.c_str(), buffer.text(), 64));
    EXPECT_FALSE(read_word("/tmp/no/such/folder/file", buffer.text(), 64));
    EXPECT_TRUE(buffer.untouched());
}

TEST_F(TextFile, FileWithoutAWordCouldBeOpened) {
    for (const char *bytes : {"", "\n", " ", " \t\r\n\v\f \n\n"}) expect_no_word(bytes);
}

TEST_F(TextFile, WordEndsAtAnyBlank) {
    expect_word("up\n", 64, "up");
    expect_word("up", 64, "up");
    expect_word("  \n\t up\n", 64, "up");
    expect_word("1 2 3\n", 64, "1");
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        const bool blank = strchr(" \t\n\v\f\r", byte) != nullptr;
        expect_word("a" + text + "b", 64, blank ? "a" : "a" + text + "b");
        expect_word(text + "a", 64, blank ? "a" : text + "a");
    }
}

TEST_F(TextFile, WordOfEveryLengthIntoEverySize) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    for (size_t size = 2; size <= 20; ++size) {
        for (size_t length = 1; length <= letters.size(); ++length) {
            const std::string word = letters.substr(0, length);
            for (const char *rest : {"", "\n", " next"}) {
                expect_word(word + rest, size, word.substr(0, size - 1));
                expect_word("\n " + word + rest, std::max<size_t>(size, 8),
                            word.substr(0, std::max<size_t>(size, 8) - 1));
            }
        }
    }
}

TEST_F(TextFile, WordFarLongerThanTheBufferIsCut) {
    for (size_t size : {2u, 64u, 1024u}) expect_word(std::string(3000000, '7'), size, std::string(size - 1, '7'));
}

TEST_F(TextFile, WordWithANulEndsThere) { expect_word(std::string("12\00034\n", 6), 64, "12"); }

TEST_F(TextFile, WordOfAFolderLeavesTheBuffer) {
    make_folder(PATH);
    Buffer buffer;
    read_word(PATH.c_str(), buffer.text(), 64);
    EXPECT_TRUE(buffer.untouched());
}

// ---- FIFOs

TEST_F(TextFile, FifoWithoutAWriterDoesNotBlock) {
    make_fifo(PATH);
    Buffer buffer;
    EXPECT_NE(read_first_line(PATH.c_str(), buffer.text(), 64), FirstLine::read);
    read_word(PATH.c_str(), buffer.text(), 64);
    EXPECT_TRUE(buffer.untouched());
}

TEST_F(TextFile, FifoWithASilentWriterDoesNotBlock) {
    make_fifo(PATH);
    const int writer = open(PATH.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    Buffer buffer;
    EXPECT_NE(read_first_line(PATH.c_str(), buffer.text(), 64), FirstLine::read);
    read_word(PATH.c_str(), buffer.text(), 64);
    EXPECT_TRUE(buffer.untouched());
    close(writer);
}

// ---- Resources

static int open_files() {
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd) count += fcntl(fd, F_GETFD) != -1;
    return count;
}

TEST_F(TextFile, EveryFileIsClosedAgain) {
    Buffer buffer;
    const int before = open_files();
    for (int kind = 0; kind < 4; ++kind) {
        if (kind == 1) write_file(PATH, "line\n");
        if (kind == 2) make_folder(PATH);
        if (kind == 3) make_fifo(PATH);
        for (int i = 0; i < 100; ++i) {
            read_first_line(PATH.c_str(), buffer.text(), 64);
            read_word(PATH.c_str(), buffer.text(), 64);
            file_exists(PATH.c_str());
        }
        EXPECT_EQ(open_files(), before) << kind;
    }
}

// ---- Reading bit by bit

TEST_F(TextFile, InterruptedReadsAreMadeAgain) {
    write_file(PATH, "word\nmore\n");
    for (const int times : {1, 2, 5}) {
        char text[64] = "";
        interruptions = times;
        EXPECT_TRUE(read_word(PATH.c_str(), text, sizeof(text)));
        EXPECT_STREQ(text, "word") << times;
        interruptions = times;
        text[0] = '\0';
        EXPECT_EQ(read_first_line(PATH.c_str(), text, sizeof(text)), FirstLine::read);
        EXPECT_STREQ(text, "word") << times;
    }
}

TEST_F(TextFile, WhatComesInPiecesIsReadWhole) {
    const std::string line = "first line of a service";
    write_file(PATH, line + "\nsecond\n");
    for (bytes_a_read = 1; bytes_a_read < 30; ++bytes_a_read) {
        char text[64] = "";
        EXPECT_EQ(read_first_line(PATH.c_str(), text, sizeof(text)), FirstLine::read);
        EXPECT_EQ(text, line) << bytes_a_read;
        EXPECT_TRUE(read_word(PATH.c_str(), text, sizeof(text)));
        EXPECT_STREQ(text, "first") << bytes_a_read;
    }
}

} // namespace
