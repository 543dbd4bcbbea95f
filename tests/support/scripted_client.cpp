#include "scripted_client.h"

#include <cstring>

#include <sys/shm.h>

#include "api/frame/component.h"
#include "api/nprm.h"
#include "scratch.h"

void scripted_client::SetUp() {
    use_private_ipc();
    reset_fake_ruv();
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
    const int id = shmget(0x50524D00, 16, IPC_CREAT | 0666);
    ASSERT_NE(id, -1);
    status_ = static_cast<uint32_t *>(shmat(id, nullptr, 0));
    set_status(1);
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    ruv.log.clear();
    for (uint8_t *&slot : nprm_reply_slot)
        slot = nullptr;
}

void scripted_client::TearDown() {
    if (status_ != nullptr) shmdt(status_);
    nprm_shm_free_all();
    EXPECT_EQ(free_request_buffers(), 11u) << "a request buffer was not given back";
}

size_t free_request_buffers() {
    std::vector<void *> taken;
    while (void *buffer = nprm_ipc_msg_malloc())
        taken.push_back(buffer);
    for (void *buffer : taken)
        nprm_free(buffer);
    return taken.size();
}

void put_u32(std::vector<uint8_t> &bytes, size_t offset, uint32_t value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

std::vector<uint8_t> reply_of(uint32_t operation, size_t record_bytes, const std::vector<uint32_t> &results) {
    std::vector<uint8_t> reply(8 + record_bytes * results.size());
    put_u32(reply, 0, operation);
    put_u32(reply, 4, static_cast<uint32_t>(results.size()));
    for (size_t i = 0; i < results.size(); ++i)
        put_u32(reply, 8 + record_bytes * i, results[i]);
    return reply;
}
