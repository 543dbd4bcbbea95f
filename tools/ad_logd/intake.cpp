// The way of a datagram into the log.

#include "intake.h"

#include "safe_text.h"

intake::intake(const intake_options &wanted, std::vector<std::unique_ptr<sink>> &sinks)
    : fold_(wanted.fold), sinks_(sinks), limit_(wanted.records_per_second, [this](const rate_limit::cut_sender &cut) {
          tell_of(cut.who, std::to_string(cut.records) + (cut.records == 1 ? " record" : " records") + " cut: too many a second");
      }) {}

void intake::take(origin from, const received_datagram &what, log_time now, int64_t now_ns) {
    ++received_;
    const datagram parts = take_apart(what.bytes, what.sent_bytes, now);
    if (parts.malformed != nullptr) ++malformed_;
    if (fold_) {
        // Only whole datagrams can be told to be the same.
        if (parts.malformed == nullptr && last_.is_repeated(static_cast<int>(from), what.who, parts.text)) {
            ++folded_;
            has_to_tell_ = true;
            return;
        }
        tell_repetitions();
        last_.forget();
    }
    if (!limit_.may_pass(what.who, now_ns)) {
        ++cut_;
        has_to_tell_ = true;
        return;
    }
    if (fold_ && parts.malformed == nullptr) last_.begin(static_cast<int>(from), what.who, parts.text);

    const claim claimed = claim_of(parts.text);
    text_.clear();
    append_safe(text_, parts.text);
    process_.clear();
    append_safe(process_, claimed.process);
    const pid_t says_pid = claimed.pid == what.who.pid ? 0 : claimed.pid;
    hand_on({from, parts.time, what.who.pid, what.who.uid, says_pid, process_, claimed.tag, parts.malformed, text_});
}

void intake::hand_on(const record &what) {
    for (const auto &each : sinks_)
        each->add(what);
}

void intake::tell_of(const sender &who, const std::string &text) {
    record what = own_record(text);
    what.pid = who.pid;
    what.uid = who.uid;
    hand_on(what);
}

void intake::tell_repetitions() {
    const uint64_t count = last_.take();
    if (count != 0) tell_of(last_.who(), "repeated " + std::to_string(count) + (count == 1 ? " time" : " times"));
}

void intake::tell() {
    tell_repetitions();
    limit_.tell_all();
    has_to_tell_ = false;
}

std::string intake::statistics() const {
    uint64_t lost = 0;
    for (const auto &each : sinks_)
        lost += each->lost();
    return "received " + std::to_string(received_) + ", malformed " + std::to_string(malformed_) + ", lost " +
           std::to_string(lost) + ", cut " + std::to_string(cut_) + ", folded " + std::to_string(folded_);
}
