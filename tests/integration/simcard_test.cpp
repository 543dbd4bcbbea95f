// The real card: it starts, serves raw frames, keeps its shared word, stops.

#include <deque>
#include <filesystem>
#include <fstream>
#include <set>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include "card_client.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

constexpr key_t status_key = 0x50524D00, statistics_key = 0x838377;
constexpr size_t statistics_bytes = 55312640;

class Simcard : public testing::Test {
  protected:
    void SetUp() override { use_private_ipc(); }
    void TearDown() override {
        for (const key_t key : {status_key, statistics_key})
            shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
    }

    scratch_directory directory;
};

// The word that clients look at; 0xFFFFFFFF when there is no segment.
uint32_t status_word() {
    auto *address = static_cast<const volatile uint32_t *>(shmat(shmget(status_key, 16, 0666), nullptr, SHM_RDONLY));
    if (address == reinterpret_cast<void *>(-1)) return 0xFFFFFFFF;
    const uint32_t word = *address;
    shmdt(const_cast<uint32_t *>(address));
    return word;
}

bool exists(const std::string &path) {
    struct stat found;
    return lstat(path.c_str(), &found) == 0;
}

TEST_F(Simcard, SaysThatItListensAndAnswersRawFrames) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    EXPECT_EQ(card.output(), "nprm-simcard: listening in " + directory.path() + ", pid " + std::to_string(card.pid()) + "\n");
    EXPECT_EQ(status_word(), 1U);

    const card_client client(directory.path(), "190491");
    const frame created = client.ask(0x51, tcam_head(0, 1000));
    ASSERT_EQ(created.size(), 126U);
    EXPECT_BYTES(created, 0, "52 55 56 31  51 00 00 00  6e 00 00 00  01 00 00 00");
    EXPECT_BYTES(created, 16, "00 00 00 00  02 00 00 00  00 00 00 00");
    const frame space = client.ask(0x52, tcam_head(2));
    EXPECT_BYTES(space, 4, "52 00 00 00");
    EXPECT_EQ(get32(space, 16 + 60), 64536U);
    EXPECT_EQ(card.stop(), 0) << card.output();
}

TEST_F(Simcard, AnswersAnOperationThatNoComponentHasWithUnsupported) {
    card_process card(directory.path());
    const struct {
        const char *opcode;
        size_t record_bytes, records_answered;
        uint32_t word;  // the code, or the status of statistics
    } components[] = {{"190484", 38, 2, 2},  {"190485", 268, 1, 2},  {"190486", 80, 2, 2}, {"190487", 35, 2, 2},
                      {"190489", 788, 2, 2}, {"190490", 9612, 1, 0}, {"190493", 40, 2, 2}, {"190502", 296, 2, 2}};
    for (const auto &component : components) {
        frame message(8 + 2 * component.record_bytes, 0);
        put32(message, 0, 0x77);
        put32(message, 4, 2);
        const frame reply = card_client(directory.path(), component.opcode).ask(1, message);
        ASSERT_EQ(reply.size(), 16 + 8 + component.records_answered * component.record_bytes) << component.opcode;
        for (size_t i = 0; i < component.records_answered; ++i)
            EXPECT_EQ(get32(reply, 16 + 8 + i * component.record_bytes), component.word) << component.opcode;
    }
    EXPECT_FALSE(card_client(directory.path(), "190488").is_connected());
    EXPECT_FALSE(card_client(directory.path(), "190492").is_connected());
    EXPECT_EQ(card.stop(), 0) << card.output();
}

TEST_F(Simcard, AnswersMalformedRequestsAndGoesOn) {
    card_process card(directory.path());
    const card_client client(directory.path(), "190491");
    for (size_t bytes = 0; bytes < 110; ++bytes) {
        frame message = tcam_head(2);
        message.resize(bytes);
        const frame reply = client.ask(static_cast<uint32_t>(bytes), message);
        ASSERT_EQ(reply.size(), 126U) << bytes;
        EXPECT_EQ(get32(reply, 4), bytes);
        EXPECT_EQ(get32(reply, 16 + 8), 17U);
    }
    EXPECT_EQ(get32(client.ask(1, tcam_head(2)), 16 + 8), 0U);
    EXPECT_EQ(card.stop(), 0) << card.output();
}

TEST_F(Simcard, ClearsTheStatusWordAndRemovesItsSocketsOnSigtermSigintAndSighup) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        card_process card(directory.path());
        EXPECT_EQ(status_word(), 1U);
        EXPECT_TRUE(exists(directory / "control"));
        EXPECT_EQ(card.stop(signal), 0) << card.output();
        EXPECT_EQ(status_word(), 0U);
        EXPECT_FALSE(exists(directory / "control"));
        EXPECT_FALSE(exists(directory / "190491"));
    }
}

TEST_F(Simcard, UsesItsSegmentAgainAfterARestart) {
    { card_process first(directory.path()); }  // killed: the word stays
    EXPECT_EQ(status_word(), 1U);
    const int id = shmget(status_key, 16, 0666);
    card_process second(directory.path());
    ASSERT_TRUE(second.is_listening()) << second.output();
    EXPECT_EQ(shmget(status_key, 16, 0666), id);
    EXPECT_EQ(second.control({{"command", "status"}})["ready"], true);
    EXPECT_EQ(second.stop(), 0);
    EXPECT_EQ(shmget(status_key, 16, 0666), id);
    EXPECT_EQ(status_word(), 0U);
}

TEST_F(Simcard, RemovesTheSegmentWhenAsked) {
    card_process card(directory.path(), {"--remove-segments"});
    EXPECT_EQ(status_word(), 1U);
    EXPECT_EQ(card.stop(), 0);
    EXPECT_EQ(shmget(status_key, 0, 0), -1);
}

TEST_F(Simcard, RefusesASegmentOfAnotherSizeAndLeavesNothing) {
    ASSERT_GE(shmget(status_key, 32, IPC_CREAT | 0666), 0);
    card_process card(directory.path());
    EXPECT_FALSE(card.is_listening());
    EXPECT_EQ(card.wait_for_end(), 1);
    EXPECT_NE(card.output().find("ipcrm -M 0x50524d00"), std::string::npos) << card.output();
    EXPECT_FALSE(exists(directory / "control"));
    EXPECT_FALSE(exists(directory / "190491"));
}

TEST_F(Simcard, RefusesAStatisticsSegmentOfAnotherSizeWithTheWayOut) {
    const int id = shmget(statistics_key, statistics_bytes - 4096, IPC_CREAT | 0666);
    ASSERT_GE(id, 0);
    card_process card(directory.path());
    EXPECT_FALSE(card.is_listening());
    EXPECT_EQ(card.wait_for_end(), 1);
    EXPECT_EQ(card.output(),
              "nprm-simcard: shared segment 0x838377: 55308544 bytes where 55312640 are needed; when nothing uses it, remove it "
              "with: ipcrm -M 0x838377\n");
    EXPECT_FALSE(exists(directory / "control"));
    EXPECT_EQ(shmget(statistics_key, 0, 0), id) << "it is not the card's to remove";
    EXPECT_EQ(status_word(), 0U);
}

TEST_F(Simcard, CountsOnInItsStatisticsSegmentAfterARestart) {
    { card_process first(directory.path()); }  // killed
    const int id = shmget(statistics_key, statistics_bytes, 0666);
    auto *counters = static_cast<volatile uint64_t *>(shmat(id, nullptr, 0));
    ASSERT_NE(counters, reinterpret_cast<void *>(-1));
    counters[0x32C0100 / 8] = 4711;  // of a table in which the card counts nothing
    card_process second(directory.path());
    ASSERT_TRUE(second.is_listening()) << second.output();
    EXPECT_EQ(shmget(statistics_key, statistics_bytes, 0666), id);
    EXPECT_EQ(counters[0x32C0100 / 8], 4711U);
    EXPECT_EQ(second.control({{"command", "reset"}})["ok"], true);
    EXPECT_EQ(counters[0x32C0100 / 8], 0U) << "the card has this very segment";
    EXPECT_EQ(second.stop(), 0);
    EXPECT_EQ(shmget(statistics_key, statistics_bytes, 0666), id);
    shmdt(const_cast<uint64_t *>(counters));
}

TEST_F(Simcard, RefusesADirectoryThatAnotherOneServesAndNamesIt) {
    card_process first(directory.path());
    ASSERT_TRUE(first.is_listening());
    card_process second(directory.path());
    EXPECT_FALSE(second.is_listening());
    EXPECT_EQ(second.wait_for_end(), 1);
    EXPECT_NE(second.output().find(std::to_string(first.pid())), std::string::npos) << second.output();
    EXPECT_EQ(status_word(), 1U);
    EXPECT_EQ(get32(card_client(directory.path(), "190491").ask(1, tcam_head(2)), 16 + 60), 65536U);
    EXPECT_EQ(first.stop(), 0);
}

TEST_F(Simcard, RefusesToStartBesideALivingOneInAnotherDirectory) {
    const scratch_directory elsewhere;
    card_process first(directory.path());
    ASSERT_TRUE(first.is_listening()) << first.output();
    card_process second(elsewhere.path());
    EXPECT_FALSE(second.is_listening());
    EXPECT_EQ(second.stop(), 1);
    EXPECT_NE(second.output().find("the card of process " + std::to_string(first.pid()) + " publishes there"), std::string::npos)
        << second.output();
    EXPECT_FALSE(exists(elsewhere / "control"));
    EXPECT_EQ(status_word(), 1U);
    first.stop(SIGKILL);
    card_process third(elsewhere.path());
    EXPECT_TRUE(third.is_listening()) << third.output();
    EXPECT_EQ(third.stop(), 0);
    EXPECT_EQ(status_word(), 0U);
}

TEST_F(Simcard, LeavesTheControlSocketOfTheOneThatCameAfterIt) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    ASSERT_EQ(unlink((directory / "control").c_str()), 0);
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, (directory / "control").c_str(), sizeof address.sun_path - 1);
    const int next = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(next, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(card.stop(), 0);
    EXPECT_TRUE(exists(directory / "control"));
    close(next);
}

// A log that nobody reads any more.
TEST_F(Simcard, ServesAndStopsWhenItsVerboseLinesAreNotRead) {
    ASSERT_EQ(mkfifo((directory / "log").c_str(), 0600), 0);
    const int log = open((directory / "log").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(log, 0);
    card_process card(directory.path(), {"--verbose"}, log);
    ASSERT_TRUE(card.is_listening());
    const card_client client(directory.path(), "190491");
    for (uint32_t i = 0; i < 3000; ++i)
        ASSERT_EQ(client.ask(i, tcam_head(2)).size(), 126U) << i;
    const uint64_t dropped = card.control({{"command", "status"}}).at("dropped_lines");
    EXPECT_GT(dropped, 0U);
    EXPECT_LT(dropped, 3000U);
    EXPECT_EQ(card.stop(), 0);
    close(log);
}

TEST_F(Simcard, StopsOnSigtermWhileItHoldsRepliesBack) {
    card_process card(directory.path());
    const card_client client(directory.path(), "190491");
    card.control({{"command", "fault"}, {"kind", "delay"}, {"value", 600000}, {"count", 10}});
    for (uint32_t i = 0; i < 10; ++i)
        EXPECT_TRUE(client.send(request_frame(i, tcam_head(2))));
    while (!card.control({{"command", "status"}})["faults"].empty())
        continue;
    EXPECT_EQ(card.stop(), 0);
    EXPECT_TRUE(client.receive().empty());
    EXPECT_EQ(status_word(), 0U);
}

TEST_F(Simcard, NamesTheTrafficThatItCannotOfferAndEndsWithStatus2) {
    for (const std::string wrong : {"-1", "5x", "0x10", "+5", " 5", "100000001", "4294967296", "99999999999999999999", "Frozen"}) {
        card_process card(directory.path(), {"--traffic", wrong});
        EXPECT_FALSE(card.is_listening()) << wrong;
        EXPECT_EQ(card.wait_for_end(), 2) << wrong;
        const std::string says = "--traffic: \"" + wrong + "\" is neither frozen nor a number from 0 to 100000000\n";
        EXPECT_NE(card.output().find(says), std::string::npos) << card.output();
    }
    for (const char *most : {"0", "100000000"}) {
        card_process card(directory.path(), {"--traffic", most});
        ASSERT_TRUE(card.is_listening()) << card.output();
        EXPECT_EQ(card.control({{"command", "status"}}).at("traffic").at("rate").dump(), most);
        EXPECT_EQ(card.stop(), 0);
    }
}

TEST_F(Simcard, LeavesAloneWhatIsNotASocketAtItsControlPath) {
    std::ofstream(directory / "control") << "mine";
    card_process card(directory.path());
    EXPECT_FALSE(card.is_listening());
    EXPECT_EQ(card.wait_for_end(), 1);
    EXPECT_NE(card.output().find("/control is not a socket: move it away, the server needs this name"), std::string::npos)
        << card.output();
    EXPECT_EQ(content_of(directory / "control"), "mine");
}

TEST_F(Simcard, HasAControlSocketForItsUserOnly) {
    const mode_t mask = umask(0);
    card_process card(directory.path());
    umask(mask);
    struct stat found;
    ASSERT_EQ(lstat((directory / "control").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600U);
    EXPECT_EQ(card.stop(), 0);
}

TEST_F(Simcard, CountsWhatItServed) {
    card_process card(directory.path());
    const card_client client(directory.path(), "190491");
    client.ask(1, tcam_head(0, 10));
    client.ask(2, tcam_head(0, 0));
    const auto status = card.control({{"command", "status"}});
    EXPECT_EQ(status["pid"], card.pid());
    EXPECT_EQ(status["directory"], directory.path());
    EXPECT_EQ(status["connections"], 1);
    EXPECT_EQ(status["requests"], 2);
    EXPECT_EQ(status["replies"], 2);
    EXPECT_EQ(status["components"][6]["requests"], 2);
    EXPECT_EQ(status["components"][6]["refused"], 1);
    EXPECT_EQ(status["models"]["TCAM"]["lists"].size(), 1U);
    EXPECT_EQ(card.control({{"command", "reset"}})["ok"], true);
    EXPECT_EQ(card.control({{"command", "status"}})["models"]["TCAM"]["lists"].size(), 0U);
}

TEST_F(Simcard, TellsThatItsSegmentWasRemoved) {
    card_process card(directory.path());
    EXPECT_EQ(card.control({{"command", "status"}})["segment_removed"], false);
    shmctl(shmget(status_key, 0, 0), IPC_RMID, nullptr);
    EXPECT_EQ(card.control({{"command", "status"}})["segment_removed"], true);
}

TEST_F(Simcard, TakesItsOptions) {
    card_process card(directory.path(), {"--tcam-entries", "77", "--acknowledge-only", "--verbose"});
    const card_client client(directory.path(), "190491");
    EXPECT_EQ(get32(client.ask(1, tcam_head(2)), 16 + 60), 0U);
    EXPECT_EQ(card.control({{"command", "acknowledge-only"}, {"on", false}})["ok"], true);
    EXPECT_EQ(get32(client.ask(2, tcam_head(2)), 16 + 60), 77U);
    EXPECT_EQ(card.stop(), 0);
    EXPECT_NE(card.output().find("nprm-simcard: TCAM 2 (space), 110 bytes: result 0, 110 bytes\n"), std::string::npos)
        << card.output();
}

TEST_F(Simcard, SaysNothingWhenQuiet) {
    card_process card(directory.path(), {"--quiet"});
    ASSERT_TRUE(card.is_listening());
    EXPECT_EQ(card.output(), "");
}

TEST_F(Simcard, RefusesWrongOptionsWithStatus2) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--tcam-entries", "0"}, {"--tcam-entries", "1048577"}, {"--ready-fd", "999"}, {"--ready-fd", "x"}, {"--fly"},
        {"--quiet", "--verbose"}};
    for (const auto &options : wrong) {
        card_process card(directory.path(), options);
        EXPECT_FALSE(card.is_listening());
        EXPECT_EQ(card.wait_for_end(), 2) << options[0] << ": " << card.output();
        EXPECT_EQ(card.output().find("nprm-simcard: "), 0U) << card.output();
        EXPECT_NE(card.output().find("\n  try: nprm-simcard --help\n"), std::string::npos) << card.output();
    }
}

TEST_F(Simcard, TellsItsVersion) {
    card_process card(directory.path(), {"--version"});
    EXPECT_EQ(card.wait_for_end(), 0);
    EXPECT_EQ(card.output(), "nprm-simcard " NPRM_VERSION "\n");
}

std::set<unsigned long> open_descriptors(pid_t pid) {
    std::set<unsigned long> numbers;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd"))
        numbers.insert(std::stoul(entry.path().filename()));
    return numbers;
}

TEST_F(Simcard, TurnsControlClientsAwayWhenItIsOutOfDescriptors) {
    card_process card(directory.path());
    std::deque<card_client> clients;
    // Its answer tells that the card has closed what it only started with.
    clients.emplace_back(directory.path(), "190491").ask(1, tcam_head(2));
    // Clients take the numbers that are free between those in use, so that a limit leaves none.
    while (*open_descriptors(card.pid()).rbegin() >= open_descriptors(card.pid()).size())
        clients.emplace_back(directory.path(), "190491").ask(1, tcam_head(2));
    const rlimit none_left = {open_descriptors(card.pid()).size(), 1024}, enough = {1024, 1024};
    ASSERT_EQ(prlimit(card.pid(), RLIMIT_NOFILE, &none_left, nullptr), 0);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(card_client(directory.path(), "control").receive().empty());
    ASSERT_EQ(prlimit(card.pid(), RLIMIT_NOFILE, &enough, nullptr), 0);
    EXPECT_EQ(card.control({{"command", "status"}})["ok"], true);
    EXPECT_EQ(card.stop(), 0);
}

TEST_F(Simcard, KeepsNothingOfManyControlConnections) {
    card_process card(directory.path());
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(card.control({{"command", "status"}})["ok"], true);
    EXPECT_LT(open_descriptors(card.pid()).size(), 30U);
}

TEST_F(Simcard, ServesAClientWhileAnotherDoesNotReadItsReplies) {
    card_process card(directory.path());
    const card_client deaf(directory.path(), "190490");
    frame statistics(8 + 6 * 9612, 0);
    put32(statistics, 4, 6);
    for (uint32_t i = 0; i < 100 && deaf.send(request_frame(i, statistics)); ++i)
        continue;
    EXPECT_EQ(get32(card_client(directory.path(), "190491").ask(1, tcam_head(2)), 16 + 60), 65536U);
    EXPECT_EQ(card.stop(), 0);
}

}  // namespace
