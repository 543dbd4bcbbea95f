// A log socket: batches of datagrams with their senders, and the debug record that belongs to the socket.

#include "receiver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/uio.h>
#include <unistd.h>

// Room for the credentials and for nothing else: descriptors that somebody sends are closed by the kernel.
struct receiver::slots {
    mmsghdr headers[batch];
    iovec pieces[batch];
    alignas(cmsghdr) char control[batch][CMSG_SPACE(sizeof(ucred))];
    char bytes[batch][AD_ERRORLOG_DATAGRAM_BYTES_MAX + 1];
};

namespace {

// The segment of the record that a path had until now, or -1.
int segment_of(const std::string &path) {
    const key_t key = ftok(path.c_str(), AD_DEBUG_KEY_ID);
    return key == -1 ? -1 : shmget(key, 0, 0);
}

// Anyone may make a segment under any key.  The maker is asked for and not the owner, which the owner may change.
bool is_record_of_ours(int segment) {
    shmid_ds known{};
    return shmctl(segment, IPC_STAT, &known) == 0 && known.shm_segsz == sizeof(ad_debug_cfg) && known.shm_perm.cuid == geteuid();
}

// A record that nobody else has, under a new file's key, is new or the remains of a removed file that had the same number.
bool is_ours_alone(int segment) {
    shmid_ds known{};
    return shmctl(segment, IPC_STAT, &known) == 0 && known.shm_nattch == 1;
}

sender sender_of(const msghdr &header) {
    for (cmsghdr *part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(const_cast<msghdr *>(&header), part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_CREDENTIALS) continue;
        ucred credentials;
        std::memcpy(&credentials, CMSG_DATA(part), sizeof credentials);
        return {credentials.pid, credentials.uid};
    }
    return {0, static_cast<uid_t>(-1)};
}

}  // namespace

receiver::receiver(const options &wanted) : path_(wanted.path), slots_(std::make_unique<slots>()) {
    const int old_segment = segment_of(path_);
    socket_ = bind_place(path_, SOCK_DGRAM, wanted.mode, wanted.queue);
    const int on = 1;
    if (setsockopt(socket_.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0)
        throw std::runtime_error(path_ + ": " + std::strerror(errno));
    share_record(old_segment);
}

// The socket's file stays: the next daemon finds the record by it, and processes that start meanwhile log there later.
receiver::~receiver() {
    ad_return_ad_debug_cfg_p(record_);
}

// The record's key comes from the socket's file, and a new socket is a new file.  What the old record said goes on in the new one;
// the old one ends with the last process that still has it.
void receiver::share_record(int old_segment) {
    has_shared_record_ = ad_get_ad_debug_cfg_p(path_.c_str(), &record_) == 0;
    const int segment = has_shared_record_ ? segment_of(path_) : old_segment;
    if (segment == old_segment) return;
    if (is_ours_alone(segment)) std::memset(record_, 0, sizeof *record_);
    if (old_segment < 0 || !is_record_of_ours(old_segment)) return;
    void *const old = shmat(old_segment, nullptr, SHM_RDONLY);
    if (old == reinterpret_cast<void *>(-1)) return;
    std::memcpy(record_, old, sizeof *record_);
    shmdt(old);
    shmctl(old_segment, IPC_RMID, nullptr);
}

unsigned receiver::receive_batch() {
    for (unsigned i = 0; i < batch; ++i) {
        slots_->pieces[i] = {slots_->bytes[i], sizeof slots_->bytes[i]};
        msghdr &header = slots_->headers[i].msg_hdr;
        header = {};
        header.msg_iov = &slots_->pieces[i];
        header.msg_iovlen = 1;
        header.msg_control = slots_->control[i];
        header.msg_controllen = sizeof slots_->control[i];
    }
    const int count = recvmmsg(socket_.get(), slots_->headers, batch, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC, nullptr);
    return count < 0 ? 0 : static_cast<unsigned>(count);
}

received_datagram receiver::datagram(unsigned i) const {
    const size_t sent_bytes = slots_->headers[i].msg_len;
    const size_t kept = std::min<size_t>(sent_bytes, AD_ERRORLOG_DATAGRAM_BYTES_MAX);
    return {{slots_->bytes[i], kept}, sent_bytes, sender_of(slots_->headers[i].msg_hdr)};
}
