// A test's client of the scripted transport, registered, with a server that is ready.
#ifndef TESTS_SCRIPTED_CLIENT_H
#define TESTS_SCRIPTED_CLIENT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <stdio_ext.h>

#include <gtest/gtest.h>

#include "fake_ruv.h"

class scripted_client : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // What the server publishes: 1 is ready.
    void set_status(uint32_t status) { *status_ = status; }

    fake_ruv &ruv = the_fake_ruv();

  private:
    uint32_t *status_ = nullptr;
};

// Runs something and gives what it wrote to standard error, or to standard output.
template <typename Run>
std::string stderr_of(Run run) {
    testing::internal::CaptureStderr();
    run();
    return testing::internal::GetCapturedStderr();
}
template <typename Run>
std::string stdout_of(Run run) {
    testing::internal::CaptureStdout();
    run();
    return testing::internal::GetCapturedStdout();
}
// The same without what is still in the stream's buffer: what stays when the process ends in a crash.
template <typename Run>
std::string flushed_stdout_of(Run run) {
    size_t unflushed = 0;
    const std::string all = stdout_of([&] {
        run();
        unflushed = __fpending(stdout);
    });
    return all.substr(0, all.size() - unflushed);
}

// The request buffers that can be taken now; all are given back.
size_t free_request_buffers();

// A reply: header, then records of record_bytes with the given result codes, zero elsewhere.
std::vector<uint8_t> reply_of(uint32_t operation, size_t record_bytes, const std::vector<uint32_t> &results);
void put_u32(std::vector<uint8_t> &bytes, size_t offset, uint32_t value);

#endif
