// What the tests of configuration operations share: filled request buffers, and the fates that every operation may meet.
#ifndef TESTS_EXCHANGE_TEST_H
#define TESTS_EXCHANGE_TEST_H

#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "api/frame/nprm_pool.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

// One call of an operation, with arguments of the test.
struct operation_call {
    const char *name;
    uint32_t component;
    uint32_t operation;
    std::function<uint32_t()> call;
};

class exchange_test : public scripted_client {
  protected:
    void SetUp() override {
        scripted_client::SetUp();
        mark_request_buffers();
    }

    // Request bytes that an operation does not set show as ee from here on.
    static void mark_request_buffers() {
        std::vector<void *> buffers;
        while (void *buffer = nprm_ipc_msg_malloc())
            buffers.push_back(buffer);
        for (void *buffer : buffers) {
            std::memset(buffer, 0xEE, 65536);
            nprm_free(buffer);
        }
    }

    static size_t record_bytes(uint32_t component) {
        return component == 0 ? 38 : component == 1 ? 268 : component == 2 ? 80 : component == 3 ? 35 : 40;
    }

    // A reply of one record whose bytes behind the result are all `with`.
    static std::vector<uint8_t> filled(uint32_t component, uint32_t operation, uint8_t with, uint32_t units = 1) {
        std::vector<uint8_t> reply(8 + record_bytes(component) * units, with);
        put_u32(reply, 0, operation);
        put_u32(reply, 4, units);
        for (uint32_t i = 0; i < units; ++i)
            put_u32(reply, 8 + record_bytes(component) * i, 0);
        return reply;
    }

    // The request of one call that the server accepts, whole: header and first bytes as written, ee in all others.
    void expect_request(const operation_call &each, const char *hex) {
        SCOPED_TRACE(each.name);
        mark_request_buffers();
        ruv.reply(filled(each.component, each.operation, 0));
        EXPECT_EQ(each.call(), 0u);
        ASSERT_FALSE(ruv.sends.empty());
        EXPECT_EQ(ruv.sends.back().opcode, each.component == 9 ? 190493u : 190484u + each.component);
        std::string whole = hex;
        const size_t size = 8 + record_bytes(each.component);
        ASSERT_EQ(ruv.last_request().size(), size);
        for (size_t i = bytes_of(hex).size(); i < size; ++i)
            whole += " ee";
        EXPECT_BYTES(ruv.last_request(), 0, whole.c_str());
    }

    // Preparer, transport and server refuse in turn: each code arrives unchanged, and unchanged() tells that no output was written.
    void expect_codes(const operation_call &each, const std::function<bool()> &unchanged) {
        SCOPED_TRACE(each.name);
        stderr_of([&] {
            ruv.sends.clear();
            set_status(0);
            EXPECT_EQ(each.call(), 7u);
            set_status(1);
            std::vector<void *> buffers;
            while (void *buffer = nprm_ipc_msg_malloc())
                buffers.push_back(buffer);
            EXPECT_EQ(each.call(), 4u);
            EXPECT_TRUE(ruv.sends.empty());
            for (void *buffer : buffers)
                nprm_free(buffer);
            ruv.send_result = -1;
            EXPECT_EQ(each.call(), 6u);
            ruv.send_result = 0;
            ruv.fail_receive(-1, 75);
            EXPECT_EQ(each.call(), 5u);
            ruv.answers = {{-1, {}, [&] { set_status(0); }}};
            EXPECT_EQ(each.call(), 7u);
            set_status(1);
            ruv.answers = {{0, std::vector<uint8_t>(11), {}}};
            EXPECT_EQ(each.call(), 1u);
        });
        std::vector<uint8_t> refusal = filled(each.component, each.operation, 0x99);
        put_u32(refusal, 8, 0xB7);
        ruv.reply(refusal);
        EXPECT_EQ(each.call(), 0xB7u);
        EXPECT_TRUE(unchanged());
        nprm_reply_slot[each.component] = nullptr;
    }

    void expect_slot_empty(uint32_t component) { EXPECT_EQ(nprm_reply_slot[component], nullptr); }
};

// Records whose last byte is the last of a page: who reads on behind them is stopped by the machine.
template <typename Record>
class records_at_page_end {
  public:
    explicit records_at_page_end(size_t count)
        : page_bytes_(static_cast<size_t>(sysconf(_SC_PAGESIZE))),
          pages_(
              static_cast<uint8_t *>(mmap(nullptr, 2 * page_bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))),
          first_(reinterpret_cast<Record *>(pages_ + page_bytes_ - count * sizeof(Record))) {
        mprotect(pages_ + page_bytes_, page_bytes_, PROT_NONE);
    }
    ~records_at_page_end() { munmap(pages_, 2 * page_bytes_); }
    records_at_page_end(const records_at_page_end &) = delete;
    records_at_page_end &operator=(const records_at_page_end &) = delete;

    Record *data() const { return first_; }

  private:
    size_t page_bytes_;
    uint8_t *pages_;
    Record *first_;
};

template <typename Record>
std::span<const uint8_t> bytes_in(const Record &record) {
    return {reinterpret_cast<const uint8_t *>(&record), sizeof record};
}

#endif
