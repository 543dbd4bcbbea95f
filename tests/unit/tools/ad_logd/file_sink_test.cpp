// A log file that rotates, is removed, fills the disk, or is not a file at all.

#include "file_sink.h"

#include "tests/support/scratch.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// A line is the text alone.
void append_bare(std::string &out, const record &what) {
    (out += what.text) += '\n';
}

void add(file_sink &file, std::string_view text) {
    file.add(own_record(text));
}

void write_now(file_sink &file, std::string_view text) {
    add(file, text);
    file.flush();
}

TEST(FileSink, AppendsLines) {
    const scratch_directory files;
    {
        file_sink file({files / "log", append_bare, 0, 0});
        write_now(file, "one");
    }
    file_sink file({files / "log", append_bare, 0, 0});
    write_now(file, "two");
    EXPECT_EQ(content_of(files / "log"), "one\ntwo\n");
}

TEST(FileSink, RotatesBeforeAFileGrowsBeyondItsSize) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 10, 2});
    for (const char *text : {"1111", "2222", "3333", "4444", "5555", "6666", "7777"})
        add(file, text);  // five bytes each
    file.flush();
    EXPECT_EQ(content_of(files / "log"), "7777\n");
    EXPECT_EQ(content_of(files / "log.1"), "5555\n6666\n");
    EXPECT_EQ(content_of(files / "log.2"), "3333\n4444\n");
    EXPECT_FALSE(fs::exists(files / "log.3"));
    EXPECT_EQ(file.lost(), 0U);
}

TEST(FileSink, WritesARecordThatIsLargerThanAFileMayBe) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 10, 1});
    write_now(file, "a record of many bytes");
    write_now(file, "x");
    EXPECT_EQ(content_of(files / "log"), "x\n");
    EXPECT_EQ(content_of(files / "log.1"), "a record of many bytes\n");
}

TEST(FileSink, RotatesOnWhenARotatedFileIsRemoved) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 5, 3});
    for (const char *text : {"1111", "2222", "3333"})
        write_now(file, text);
    fs::remove(files / "log.1");
    write_now(file, "4444");
    write_now(file, "5555");
    EXPECT_EQ(content_of(files / "log"), "5555\n");
    EXPECT_EQ(content_of(files / "log.1"), "4444\n");
    EXPECT_EQ(content_of(files / "log.2"), "3333\n");
    EXPECT_EQ(content_of(files / "log.3"), "1111\n");
}

TEST(FileSink, MakesItsFileAnewWhenItIsRemovedOrReopened) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 0, 0});
    write_now(file, "one");
    fs::remove(files / "log");
    write_now(file, "two");
    EXPECT_EQ(content_of(files / "log"), "two\n");
    fs::rename(files / "log", files / "old");
    write_now(file, "three");
    EXPECT_EQ(content_of(files / "old"), "two\nthree\n");
    file.reopen();
    EXPECT_TRUE(fs::exists(files / "log")) << "before the next record";
    write_now(file, "four");
    EXPECT_EQ(content_of(files / "log"), "four\n");
}

TEST(FileSink, RefusesWhatIsNoFileOfItsOwn) {
    const scratch_directory files;
    fs::create_symlink(files / "elsewhere", files / "symlink");
    mkfifo((files / "fifo").c_str(), 0600);
    write_now(*std::make_unique<file_sink>(file_options{files / "real", append_bare, 0, 0}), "x");
    fs::create_hard_link(files / "real", files / "hard");
    const struct {
        std::string path;
        const char *says;
    } rows[] = {{files / "symlink", "it is a symbolic link"},
                {files / "fifo", "it is no regular file"},
                {files / "hard", "it has other names (hard links)"},
                {files.path(), "Is a directory"},
                {"/dev/full", "it is no regular file"},
                {files / "no/log", "No such file or directory"}};
    for (const auto &row : rows) {
        try {
            const file_sink file({row.path, append_bare, 0, 0});
            ADD_FAILURE() << row.path << " was taken";
        } catch (const std::runtime_error &refusal) {
            EXPECT_THAT(refusal.what(), HasSubstr(row.says));
        }
    }
    EXPECT_FALSE(fs::exists(files / "elsewhere"));
    EXPECT_EQ(content_of(files / "real"), "x\n");
}

TEST(FileSink, CountsWhatIsLostWhenASymbolicLinkTakesItsPlace) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 0, 0});
    fs::remove(files / "log");
    fs::create_symlink(files / "elsewhere", files / "log");
    write_now(file, "one");
    write_now(file, "two");
    EXPECT_EQ(file.lost(), 2U);
    EXPECT_FALSE(fs::exists(files / "elsewhere"));
    fs::remove(files / "log");
    write_now(file, "three");
    EXPECT_EQ(content_of(files / "log"), "2 records lost here: it is a symbolic link\nthree\n");
    EXPECT_EQ(file.lost(), 2U);
}

// The limit of a file's size stands for a full disk: writes are cut short, then fail.
TEST(FileSink, KeepsWholeRecordsOnAFullDiskAndTellsOfTheOthers) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 0, 0});
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit = {12, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    for (const char *text : {"1111", "2222", "3333", "4444"})
        add(file, text);
    file.flush();
    write_now(file, "5555");
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(content_of(files / "log"), "1111\n2222\n");
    EXPECT_EQ(file.lost(), 3U);
    EXPECT_TRUE(file.is_waiting());
    file.flush();  // without another record
    EXPECT_EQ(content_of(files / "log"), "1111\n2222\n3 records lost here: File too large\n");
    EXPECT_FALSE(file.is_waiting());
    write_now(file, "6666");
    EXPECT_EQ(content_of(files / "log"), "1111\n2222\n3 records lost here: File too large\n6666\n");
    EXPECT_EQ(file.lost(), 3U);
}

TEST(FileSink, EndsAHalfLineThatACrashLeftBehind) {
    const scratch_directory files;
    std::ofstream(files / "log") << "whole\nha";
    file_sink file({files / "log", append_bare, 0, 0});
    write_now(file, "one");
    EXPECT_EQ(content_of(files / "log"), "whole\nha\none\n");
    std::ofstream(files / "log", std::ios::app) << "hal";
    file.reopen();
    write_now(file, "two");
    write_now(file, "three");
    EXPECT_EQ(content_of(files / "log"), "whole\nha\none\nhal\ntwo\nthree\n");
}

TEST(FileSink, SaysThatItCannotRotateAndTriesAgainLater) {
    const scratch_directory files;
    fs::create_directories(files / "log.1/x");
    file_sink file({files / "log", append_bare, 10, 1});
    for (const char *text : {"1111", "2222", "3333", "4444"})
        write_now(file, text);
    EXPECT_EQ(content_of(files / "log"), "1111\n2222\nthis file is not rotated: Is a directory\n3333\n4444\n");
    fs::remove_all(files / "log.1");
    for (int i = 0; i < 12 && !fs::exists(files / "log.1"); ++i)
        write_now(file, "5555");
    EXPECT_TRUE(content_of(files / "log.1").starts_with("1111\n"));
    EXPECT_EQ(file.lost(), 0U);
}

TEST(FileSink, RotatesNoFileThatSomebodyElsePutInItsPlace) {
    const scratch_directory files;
    file_sink file({files / "log", append_bare, 10, 1});
    write_now(file, "1111");
    write_now(file, "2222");
    fs::rename(files / "log", files / "moved");
    std::ofstream(files / "log") << "xx\n";
    write_now(file, "3333");
    EXPECT_EQ(content_of(files / "log"), "xx\n3333\n");
    EXPECT_EQ(content_of(files / "moved"), "1111\n2222\n");
    EXPECT_FALSE(fs::exists(files / "log.1"));
}

}  // namespace
