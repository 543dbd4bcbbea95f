// nprmctl stats against a real card, and against a saved segment.

#include "nprmctl_fixture.h"

#include <filesystem>
#include <utility>

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

constexpr size_t table_14 = 0x2C0100, entry_bytes = 768, segment_bytes = 55312640;

class NprmctlStats : public Nprmctl {
  protected:
    // The next test's card would use the segment again, with the counts in it.
    void TearDown() override { shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr); }

    void traffic(uint32_t rate, uint32_t advance_ms) const {
        const json request = {{"command", "traffic"}, {"rate", rate}, {"frozen", true}, {"advance_ms", advance_ms}};
        ASSERT_TRUE(card.control(request).at("ok"));
    }
    // In the segment that the card made.
    static void set(size_t offset, uint64_t packets, uint64_t bytes) {
        auto *base = static_cast<char *>(shmat(shmget(0x838377, segment_bytes, 0), nullptr, 0));
        ASSERT_NE(base, reinterpret_cast<char *>(-1));
        auto *slot = reinterpret_cast<uint64_t *>(base + offset);
        slot[0] = packets;
        slot[1] = bytes;
        shmdt(base);
    }
    static nprmctl_run refused(const strings &arguments, int status) {
        nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, status) << run.output;
        EXPECT_EQ(run.output, "");
        return run;
    }
};

TEST_F(NprmctlStats, ListsTheTablesWithTheirPlaces) {
    const json tables = done_json({"stats", "tables"}).at("tables");
    ASSERT_EQ(tables.size(), 17U);
    EXPECT_EQ(tables[6].at("offset"), nullptr);
    EXPECT_EQ(tables[14], json({{"table", 14},
                                {"entries", 65536},
                                {"counters_per_entry", 48},
                                {"counters_used", 39},
                                {"np_base", 0},
                                {"offset", 2883840},
                                {"np_base_hex", "0x0"},
                                {"offset_hex", "0x2C0100"}}));
    EXPECT_THAT(done({"stats", "tables"}), StartsWith("table  entries  counters   used  first NP counter  offset in the segment\n"
                                                      "    0        1       256     51  0x800000\n"));
}

TEST_F(NprmctlStats, ShowsCountersOfTheSegmentWithTheirNames) {
    set(table_14 + 5 * entry_bytes, 12, 3456);
    set(table_14 + 65535 * entry_bytes + 38 * 16, UINT64_MAX, 1);
    set(table_14 + 65535 * entry_bytes + 39 * 16, 7, 7);  // not in use
    EXPECT_EQ(done({"stats", "show", "14", "65535,0-9", "--names", "--nonzero"}),
              "entry  counter  name                                                       packets  bytes\n"
              "65535       38  SC PT CMD IN REDIR STATE                      18446744073709551615      1\n"
              "    5        0  CLIENT to SERVER, REDIR FROM INTERCEPT TO SN                    12   3456\n");
    const json one = done_json({"stats", "show", "14", "5"}).at("counters");
    ASSERT_EQ(one.size(), 39U);
    EXPECT_EQ(one[0], json({{"id", 5}, {"counter", 0}, {"packets", 12}, {"bytes", 3456}}));
    EXPECT_EQ(done({"stats", "show", "14", "6", "--nonzero"}), "all of these counters are zero\n");
}

TEST_F(NprmctlStats, ClearsEntriesATableAndEverything) {
    set(table_14 + 5 * entry_bytes, 1, 2);
    set(table_14 + 6 * entry_bytes, 3, 4);
    EXPECT_EQ(done({"stats", "clear", "14", "5"}), "cleared 1 entry of table 14\n");
    EXPECT_EQ(done({"stats", "show", "14", "--nonzero"}), "entry  counter  packets  bytes\n    6        0        3      4\n");
    EXPECT_EQ(done({"stats", "clear", "all"}), "all statistics are cleared\n");
    EXPECT_EQ(done({"stats", "show", "14", "--nonzero"}), "all of these counters are zero\n");
    EXPECT_EQ(done({"stats", "clear", "monitor"}), "the monitor statistics are cleared\n");
}

TEST_F(NprmctlStats, HasEntriesGivenOutUntilThereAreNoMore) {
    EXPECT_EQ(done_json({"stats", "alloc", "12", "600"}).at("ids"), "0-599");
    EXPECT_EQ(done_json({"stats", "alloc", "12", "2"}).at("ids"), "600-601");
    EXPECT_THAT(refused({"stats", "alloc", "7", "65"}, 1).errors,
                StartsWith("nprmctl: no entries were given out: the server refuses it\n"));
}

TEST_F(NprmctlStats, GivesEntriesBackThatWereGivenOut) {
    EXPECT_THAT(done({"stats", "alloc", "12", "3"}), HasSubstr("ids      0-2\n"));
    EXPECT_EQ(done({"stats", "free", "12", "1-2"}), "gave 2 entries of table 12 back\n");
    EXPECT_THAT(refused({"stats", "free", "12", "2"}, 1).errors, StartsWith("nprmctl: the entries were not given back"));
    EXPECT_THAT(done({"stats", "alloc", "12", "3"}), HasSubstr("ids      1-3\n"));
    EXPECT_THAT(refused({"stats", "free", "12"}, 2).errors, HasSubstr("usage: nprmctl stats free TABLE IDS\n"));
}

TEST_F(NprmctlStats, SetsOneCounterAndLeavesTheOthers) {
    traffic(0, 0);
    done({"stats", "set", "10", "3", "1", "1000", "64000"});
    EXPECT_EQ(done({"stats", "set", "10", "3", "0", "18446744073709551615"}),
              "counter 0 of entry 3 is 18,446,744,073,709,551,615 packets, 0 bytes\n");
    const std::string shown =
        "entry  counter               packets  bytes\n"
        "    3        0  18446744073709551615      0\n"
        "    3        1                  1000  64000\n";
    EXPECT_EQ(done({"stats", "show", "10", "3", "--nonzero", "--clear"}), shown);
    EXPECT_EQ(done({"stats", "show", "10", "3", "--nonzero"}), "all of these counters are zero\n");
    done({"stats", "set", "1", "0", "6", "5"});  // a table of the server's own
    EXPECT_EQ(done({"stats", "show", "1", "0", "--nonzero"}), "entry  counter  packets  bytes\n    0        6        5      0\n");
    const std::pair<strings, const char *> wrong[] = {
        {{"10", "256", "0", "1"}, "table 10 has 256 entries of 14 counters"},
        {{"10", "0", "14", "1"}, "table 10 has 256 entries of 14 counters"},
        {{"10", "0", "0", "1k"}, "\"1k\" is no count, which is a number below 2^64"},
        {{"10", "0", "0", "1", "18446744073709551616"}, "\"18446744073709551616\" is no count"},
        {{"16", "0", "0", "1"}, "an entry of table 16 has more counters than a request holds, 480"},
    };
    for (const auto &[words, why] : wrong) {
        strings command = {"stats", "set"};
        command.insert(command.end(), words.begin(), words.end());
        EXPECT_THAT(refused(command, 2).errors, HasSubstr(why));
    }
    EXPECT_THAT(refused({"stats", "show", "10", "--clear", "--segment", "x"}, 2).errors,
                HasSubstr("a saved segment stays as it is"));
    EXPECT_THAT(refused({"stats", "clear", "17"}, 2).errors, HasSubstr("it must be all, monitor, or a table from 0 to 16\n"));
}

TEST_F(NprmctlStats, ReadsTheMonitorsWords) {
    const json words = done_json({"stats", "monitor"}).at("words");
    ASSERT_EQ(words.size(), 39U);
    EXPECT_EQ(words[38], json({{"word", 38}, {"value", 0}}));
}

TEST_F(NprmctlStats, CountsTheCardsTrafficInItsPortsTogether) {
    ASSERT_TRUE(card.control({{"command", "traffic"}, {"frozen", true}}).at("ok"));
    done({"stats", "clear", "all"});
    traffic(1000, 2000);
    uint64_t packets = 0, bytes = 0;
    const json ports = done_json({"stats", "show", "6", "--nonzero"});
    for (const json &counter : ports.at("counters"))
        if (counter.at("counter").get<uint32_t>() % 8 == 0) {
            packets += counter.at("packets").get<uint64_t>();
            bytes += counter.at("bytes").get<uint64_t>();
            EXPECT_GE(counter.at("bytes").get<uint64_t>(), 64 * counter.at("packets").get<uint64_t>());
        }
    const json whole = done_json({"stats", "show", "0", "0"}).at("counters").at(0);
    EXPECT_GT(packets, 0U);
    EXPECT_EQ(whole.at("packets"), packets);
    EXPECT_EQ(whole.at("bytes"), bytes);
}

TEST_F(NprmctlStats, WatchesWithoutATerminalWhenItIsToldHowOften) {
    traffic(0, 0);
    EXPECT_EQ(done({"stats", "watch", "14", "0-9", "--count", "2", "--interval", "1"}), "table 14, reading 2, 0 counters move\n");
    EXPECT_EQ(done_json({"stats", "watch", "6", "--count", "3", "--interval", "1"}).at("rates"), json::array());
    EXPECT_THAT(refused({"stats", "watch", "6"}, 2).errors,
                StartsWith("nprmctl: --count is needed where no key can end the watch\n"));
}

TEST_F(NprmctlStats, ExportsASnapshotWithItsTimeAndBoot) {
    traffic(0, 0);
    done({"stats", "clear", "all"});
    set(table_14 + 5 * entry_bytes, 12, 3456);
    std::string boot;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), boot);
    const json snapshot = json::parse(done({"stats", "export"}));
    EXPECT_EQ(snapshot.at("boot"), boot);
    EXPECT_THAT(snapshot.at("time"), testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
    const json counter = {{"table", 14},   {"id", 5},      {"counter", 0}, {"name", "CLIENT to SERVER, REDIR FROM INTERCEPT TO SN"},
                          {"packets", 12}, {"bytes", 3456}};
    EXPECT_EQ(snapshot.at("counters"), json::array({counter}));
    const std::string csv = done({"stats", "export", "14", "--csv"});
    EXPECT_THAT(csv, StartsWith("time,boot,table,id,counter,name,packets,bytes\n"));
    EXPECT_THAT(csv, HasSubstr("," + boot + ",14,5,0,\"CLIENT to SERVER, REDIR FROM INTERCEPT TO SN\",12,3456\n"));
}

TEST_F(NprmctlStats, ReadsASavedSegmentWhenTheCardsIsGone) {
    set(table_14 + 5 * entry_bytes, 12, 3456);
    set(segment_bytes - 16, 1, 2);  // the last slot
    const std::string saved = files / "segment";
    EXPECT_EQ(done({"stats", "save", saved}), "saved 55,312,640 bytes of counters in " + saved + "\n");
    EXPECT_EQ(std::filesystem::file_size(saved), segment_bytes);
    shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr);
    const json shown = done_json({"stats", "show", "14", "--nonzero", "--segment", saved}).at("counters");
    EXPECT_EQ(shown, json::array({{{"id", 5}, {"counter", 0}, {"packets", 12}, {"bytes", 3456}}}));
    EXPECT_EQ(done_json({"stats", "show", "16", "--nonzero", "--segment", saved}).at("counters").at(0).at("counter"), 65535);
    const json snapshot = json::parse(done({"stats", "export", "14", "--segment", saved}));
    EXPECT_EQ(snapshot.at("boot"), nullptr);
    EXPECT_EQ(snapshot.at("counters").size(), 1U);
    EXPECT_THAT(refused({"stats", "show", "6", "--segment", saved}, 2).errors, HasSubstr("table 6 is not in the segment"));
    EXPECT_THAT(refused({"stats", "show", "14", "5"}, 1).errors, HasSubstr("there is no statistics segment of 55,312,640 bytes"));
    std::filesystem::resize_file(saved, segment_bytes - 1);
    EXPECT_THAT(refused({"stats", "show", "14", "5", "--segment", saved}, 2).errors, HasSubstr("this one has 55,312,639"));
}

TEST_F(NprmctlStats, SavesBesideWhatAKilledSaveLeftBehind) {
    set(table_14 + 5 * entry_bytes, 12, 3456);
    const std::string saved = file("segment", "an older file"), left = file("segment.part", "left");
    done({"stats", "save", saved});
    EXPECT_EQ(done_json({"stats", "show", "14", "5", "--nonzero", "--segment", saved}).at("counters").size(), 1U);
    done({"stats", "save", saved});
    EXPECT_EQ(std::filesystem::file_size(left), 4U) << "it is somebody else's";
    EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(files.path())), 2) << "nothing else is left";
}

TEST_F(NprmctlStats, SavesInFilesOnly) {
    const std::string pipe = files / "pipe", folder = files / "folder";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_directory(folder);
    for (const std::string &path : {pipe, folder})
        EXPECT_EQ(refused({"stats", "save", path}, 2).errors, "nprmctl: " + path + " is there and no regular file\n");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_THAT(refused({"stats", "save", ""}, 2).errors, StartsWith("nprmctl: FILE is empty\n"));
}

// nprmctl with a terminal of its own, which this process holds as well so that it can be looked at afterwards.
class terminal_run {
  public:
    explicit terminal_run(const strings &arguments) {
        if (openpty(&ours_, &its_, nullptr, nullptr, nullptr) != 0) return;
        std::vector<char *> words{const_cast<char *>(NPRMCTL_PROGRAM)};
        for (const std::string &argument : arguments)
            words.push_back(const_cast<char *>(argument.c_str()));
        words.push_back(nullptr);
        child_ = fork();
        if (child_ != 0) return;
        for (const int stream :
             {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})  // no session of its own: its end would reset the terminal
            dup2(its_, stream);
        execv(NPRMCTL_PROGRAM, words.data());
        _exit(127);
    }
    ~terminal_run() {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        close(ours_);
        close(its_);
    }
    terminal_run(const terminal_run &) = delete;
    terminal_run &operator=(const terminal_run &) = delete;

    bool is_there() const { return child_ > 0; }
    // Reads on until the text has come; false when it does not come for long.
    bool shows(const std::string &text) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (shown_.find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > end) return false;
            pollfd readable = {ours_, POLLIN, 0};
            char bytes[4096];
            if (poll(&readable, 1, 20'000) != 1) return false;
            const ssize_t came = read(ours_, bytes, sizeof bytes);
            if (came <= 0) return false;
            shown_.append(bytes, static_cast<size_t>(came));
        }
        return true;
    }
    void type(char key) const { EXPECT_EQ(write(ours_, &key, 1), 1); }
    // Of the terminal now: whether it waits for whole lines and shows what is typed.
    bool is_by_lines() const {
        termios now{};
        return tcgetattr(its_, &now) == 0 && (now.c_lflag & ICANON) != 0 && (now.c_lflag & ECHO) != 0;
    }
    bool interrupts() const {
        termios now{};
        return tcgetattr(its_, &now) == 0 && (now.c_lflag & ISIG) != 0;
    }
    // Stands still while something is done.
    template <typename action>
    void during_a_pause(action &&act) const {
        kill(child_, SIGSTOP);
        ASSERT_EQ(waitpid(child_, nullptr, WUNTRACED), child_);
        act();
        kill(child_, SIGCONT);
    }
    int exit_status() {
        int status = 0;
        waitpid(std::exchange(child_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    const std::string &shown() const { return shown_; }

  private:
    int ours_ = -1, its_ = -1;
    pid_t child_ = -1;
    std::string shown_;
};

TEST_F(NprmctlStats, WatchesOnATerminalUntilQIsPressed) {
    traffic(0, 0);
    terminal_run watch({"stats", "watch", "14", "0-9", "--interval", "20"});
    if (!watch.is_there()) GTEST_SKIP() << "no pseudo-terminal is to be had here";
    ASSERT_TRUE(watch.shows("\x1b[H\x1b[2Jtable 14, reading 2, 0 counters move; q ends")) << watch.shown();
    EXPECT_FALSE(watch.is_by_lines());
    EXPECT_TRUE(watch.interrupts()) << "Ctrl-C ends it as well";
    watch.type('x');
    ASSERT_TRUE(watch.shows("reading 4, ")) << watch.shown();
    set(table_14 + 5 * entry_bytes, 12, 3456);
    ASSERT_TRUE(watch.shows("1 counter moves")) << watch.shown();
    EXPECT_TRUE(watch.shows("CLIENT to SERVER, REDIR FROM INTERCEPT TO SN")) << watch.shown();
    watch.type('q');
    EXPECT_EQ(watch.exit_status(), 0);
    EXPECT_TRUE(watch.is_by_lines()) << "the terminal is as it was";
}

TEST_F(NprmctlStats, WatchesTheSegmentThatIsThereNow) {
    traffic(0, 0);
    terminal_run watch({"stats", "watch", "14", "0-9", "--interval", "20"});
    if (!watch.is_there()) GTEST_SKIP() << "no pseudo-terminal is to be had here";
    ASSERT_TRUE(watch.shows("reading 2, ")) << watch.shown();
    watch.during_a_pause([] {
        shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr);
        ASSERT_NE(shmget(0x838377, segment_bytes, IPC_CREAT | 0666), -1);
        set(table_14 + 5 * entry_bytes, 700, 900);
    });
    ASSERT_TRUE(watch.shows("1 counter moves")) << watch.shown();
    shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr);
    ASSERT_TRUE(watch.shows("there is no statistics segment of 55,312,640 bytes")) << watch.shown();
    ASSERT_TRUE(watch.shows("restart the one whose segment was removed")) << watch.shown();
    EXPECT_EQ(watch.exit_status(), 1);
    EXPECT_TRUE(watch.is_by_lines());
}

TEST_F(NprmctlStats, RefusesWhatIsNotThere) {
    EXPECT_THAT(refused({"stats", "show", "17"}, 2).errors, HasSubstr("it must be a number from 0 to 16"));
    EXPECT_THAT(refused({"stats", "show", "7", "64"}, 2).errors, HasSubstr("the table has no entry 64, the last one is 63"));
    EXPECT_THAT(refused({"stats", "show", "14"}, 2).errors, HasSubstr("add --nonzero, or name fewer entries"));
    EXPECT_THAT(refused({"stats", "clear", "all", "3"}, 2).errors, HasSubstr("all has none"));
    EXPECT_THAT(refused({"stats", "clear", "17"}, 2).errors,
                HasSubstr("WHAT is \"17\", it must be all, monitor, or a table from 0 to 16\n  usage: nprmctl stats clear TABLE"));
    EXPECT_THAT(refused({"stats", "save", files.path() + "/no/file"}, 2).errors,
                HasSubstr("/no/file cannot be written: No such file or directory"));
    for (const char *command : {"show", "export"})
        EXPECT_THAT(refused({"stats", command, "8", "--segment", files.path() + "/no"}, 2).errors,
                    HasSubstr("/no cannot be read: No such file or directory"));
}

TEST_F(NprmctlStats, SayOfAChangeWithoutAnswerThatItMayBeMade) {
    const auto errors_without_answer = [this](const strings &command) {
        fault({{"kind", "truncate"}, {"value", 3}});
        return refused(command, 1).errors;
    };
    for (const strings &command : {strings{"stats", "clear", "all"}, strings{"stats", "clear", "6"},
                                   strings{"stats", "alloc", "12", "1"}, strings{"stats", "free", "12", "0"}})
        EXPECT_THAT(errors_without_answer(command),
                    HasSubstr("no usable answer came; whether the card has done it is not known\n"));
    EXPECT_EQ(errors_without_answer({"stats", "monitor"}).find("whether"), std::string::npos);
}

TEST_F(NprmctlStats, TellWhyNoAnswerCameAsTheOtherCommandsDo) {
    card.stop(SIGKILL);
    for (const strings &command :
         {strings{"stats", "show", "0"}, strings{"stats", "monitor"}, strings{"stats", "alloc", "12", "1"}}) {
        const nprmctl_run run = refused(command, 1);
        EXPECT_THAT(run.errors, HasSubstr("NPRM_ERROR_IPC_SEND (6), the request could not be sent; nobody answers in "));
        EXPECT_THAT(run.errors, HasSubstr("\n  try: start a card: nprm-simcard\n"));
    }
}

}  // namespace
