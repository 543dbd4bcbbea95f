// The shared record: found, made, refused, given back.

#include "util/ad_debug/ad_debug.h"

#include <cerrno>
#include <cstring>

#include <sys/ipc.h>
#include <sys/shm.h>

#include "debug_library.h"

namespace {

class AdSharedRecord : public debug_library {
  protected:
    AdSharedRecord() {
        use_private_ipc();
        write_file(path, "");
    }
    int segment() const { return shmget(ftok(path.c_str(), 100), 0, 0); }
    shmid_ds facts() const {
        shmid_ds facts{};
        EXPECT_EQ(shmctl(segment(), IPC_STAT, &facts), 0);
        return facts;
    }

    const std::string path = directory / "record";
    ad_debug_cfg *record = nullptr;
};

TEST_F(AdSharedRecord, IsMadeZeroedWith140BytesForEveryUser) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 0);
    ASSERT_NE(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(facts().shm_segsz, 140U);
    EXPECT_EQ(facts().shm_perm.mode & 0777, 0666);
    const std::vector<uint8_t> zero(140);
    EXPECT_EQ(memcmp(record, zero.data(), 140), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), 0);
    EXPECT_EQ(facts().shm_nattch, 0U);
}

TEST_F(AdSharedRecord, IsSharedAndKeptWhenItExists) {
    ad_debug_cfg *other = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 0);
    record->level = 3;
    record->reserved[5] = 9;
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create(path.c_str(), &other), 0);
    EXPECT_EQ(other->level, 3);
    EXPECT_EQ(other->reserved[5], 9);
    other->client_ip = 7;
    EXPECT_EQ(record->client_ip, 7U);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(other), 0);
}

TEST_F(AdSharedRecord, IsNotMadeWhenTheCallerForbidsIt) {
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p_no_create(path.c_str(), &record), 1); }), "");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(ad_get_ad_debug_cfg_p_impl(path.c_str(), &record, 1), 1);
    EXPECT_EQ(segment(), -1);
    EXPECT_EQ(ad_get_ad_debug_cfg_p_impl(path.c_str(), &record, 0), 0);
    EXPECT_GE(segment(), 0);
    ad_return_ad_debug_cfg_p(record);
}

TEST_F(AdSharedRecord, IsThePrivateOneForNoPathAndAPathThatDoesNotExist) {
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(ad_get_ad_debug_cfg_p(nullptr, &record), 1);
                  EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
                  record = nullptr;
                  EXPECT_EQ(ad_get_ad_debug_cfg_p((directory / "missing").c_str(), &record), 1);
                  EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
              }),
              "");
}

TEST_F(AdSharedRecord, OfAnotherSizeIsReportedAndNotAttached) {
    ASSERT_GE(shmget(ftok(path.c_str(), 100), 139, IPC_CREAT | 0666), 0);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }),
              "IPCSTAT shows size mismatch: 139 vs 140\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(facts().shm_nattch, 0U);
}

TEST_F(AdSharedRecord, ThatCannotBeMadeIsReported) {
    the_system_calls().shmget_error = ENOSPC;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }), "shmget: No space left on device\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdSharedRecord, WhoseFactsCannotBeHadIsReported) {
    the_system_calls().shmctl_stat_error = EACCES;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }), "shmctl: Permission denied\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdSharedRecord, ThatCannotBeAttachedIsReportedAndRemoved) {
    the_system_calls().shmat_error = EACCES;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }), "shmat: Permission denied\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(segment(), -1);

    the_system_calls().shmctl_remove_error = EPERM;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }),
              "shmat: Permission denied\nshmctl: Operation not permitted\n");
}

TEST_F(AdSharedRecord, IsGivenBackButNotNullThePrivateOneAndForeignMemory) {
    EXPECT_EQ(ad_return_ad_debug_cfg_p(nullptr), 1);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(&ad_debug_cfg_no_share_mem), 1);
    ad_debug_cfg on_the_stack{};
    EXPECT_EQ(ad_return_ad_debug_cfg_p(&on_the_stack), -1);
}

TEST_F(AdSharedRecord, InUseIsReplacedByThePrivateOneWhenItIsGivenBack) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &ad_debug_cfg_p), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(ad_debug_cfg_p), 0);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdSharedRecord, InUseIsReplacedBeforeItIsDetached) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &ad_debug_cfg_p), 0);
    const ad_debug_cfg *in_use = nullptr;
    the_system_calls().before_shmdt = [&] { in_use = ad_debug_cfg_p; };
    EXPECT_EQ(ad_return_ad_debug_cfg_p(ad_debug_cfg_p), 0);
    EXPECT_EQ(in_use, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdSharedRecord, InUseStaysWhenItCannotBeDetached) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 0);
    ad_debug_cfg_p = record;
    the_system_calls().shmdt_error = EINVAL;
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), -1);
    EXPECT_EQ(ad_debug_cfg_p, record);
    the_system_calls().shmdt_error = 0;
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), 0);
}

TEST_F(AdSharedRecord, NotInUseIsGivenBackWithoutAChangeOfTheOneInUse) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), 0);
    EXPECT_EQ(ad_debug_cfg_p, nullptr);
}

}  // namespace
