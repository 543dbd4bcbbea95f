// The card as a process.

#include "server.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "api/stats/nprm_stats.h"
#include "control.h"
#include "models/stats_store.h"

namespace {

constexpr std::chrono::milliseconds traffic_period{100};
constexpr size_t delayed_replies_max = 1024;  // 64 MiB at most; what is above is lost

std::vector<std::byte> datagram_of(const delivery &message) {
    std::vector<std::byte> datagram(sizeof message.header + message.payload.size());
    std::memcpy(datagram.data(), &message.header, sizeof message.header);
    if (!message.payload.empty())
        std::memcpy(datagram.data() + sizeof message.header, message.payload.data(), message.payload.size());
    return datagram;
}

}  // namespace

card_server::card_server(const server_options &options)
    : options_(options),
      card_(options.card),
      transport_([this](const ruv_request &request) { handle(request); }),
      control_(transport_, [this](std::string_view request) { return control(request); }) {
    card_.acknowledge_only = options.acknowledge_only;
}

card_server::~card_server() {
    if (options_.remove_segments)
        for (const shared_segment *segment : segments())
            segment->remove();
    attach_statistics(nullptr);
}

// Those that there are by now.
std::vector<const shared_segment *> card_server::segments() const {
    std::vector<const shared_segment *> all;
    if (segment_) all.push_back(&segment_->segment());
    if (statistics_) all.push_back(&*statistics_);
    return all;
}

void card_server::listen() {
    std::vector<uint32_t> opcodes;
    for (const component_row &component : served_components())
        opcodes.push_back(component.opcode);
    transport_.listen(options_.directory, opcodes);
    control_.listen(options_.directory);
    segment_.emplace();
    statistics_.emplace(NPRM_STATS_SEGMENT_KEY, NPRM_STATS_SEGMENT_BYTES);
    attach_statistics(statistics_->address());
    publish_readiness();
    let_traffic_run();
}

// One timer is under way while traffic runs, none while it is frozen.
void card_server::let_traffic_run() {
    if (traffic_runs_since_ || card_.traffic.frozen) return;
    traffic_runs_since_ = timer_queue::clock::now();
    timers_.after(traffic_period, [this] {
        const auto since = *traffic_runs_since_;
        traffic_runs_since_.reset();
        if (card_.traffic.frozen) return;
        card_.advance(std::chrono::duration_cast<std::chrono::microseconds>(timer_queue::clock::now() - since));
        let_traffic_run();
    });
}

void card_server::run(int stop_signals) {
    bool is_stopped = false;
    transport_.watch(stop_signals, [&] { is_stopped = true; });
    while (!is_stopped) {
        transport_.dispatch(timers_.wait_ms());
        timers_.run_due();
    }
    transport_.unwatch(stop_signals);
}

void card_server::handle(const ruv_request &request) {
    const component_row &component = *find_component_of_opcode(request.opcode);
    if (card_.faults.hits(component.number)) return deliver_with_faults(component, request);
    const dispatcher::answer answer = card_.serve(component, request.payload);
    transport_.reply(request.peer, request.token, answer.message);
    if (options_.verbose) trace(component, request.payload.size(), answer);
}

void card_server::deliver_with_faults(const component_row &component, const ruv_request &request) {
    delivery message(component.number, request.token);
    card_.faults.before_serving(message);
    // The status word stays as it is: to its clients the server is dead, not gone.
    if (message.exit_status) std::_Exit(*message.exit_status);
    if (!message.is_lost) {
        const dispatcher::answer answer = card_.serve(component, request.payload, message.refuse_with);
        message.take(answer.message);
        if (options_.verbose) trace(component, request.payload.size(), answer);
    }
    card_.faults.on_reply(message);
    publish_readiness();
    if (message.is_lost) return;
    if (message.delay.count() == 0) return send(message, request.peer);
    const size_t held = timers_.size() - (traffic_runs_since_ ? 1 : 0);
    if (held >= delayed_replies_max) return;
    timers_.after(message.delay, [this, message, peer = request.peer] { send(message, peer); });
}

void card_server::send(const delivery &message, uint64_t peer) {
    const std::vector<std::byte> datagram = datagram_of(message);
    for (uint32_t copy = 0; copy < message.copies; ++copy)
        if (!transport_.send_raw(peer, datagram)) return;
}

void card_server::trace(const component_row &component, size_t request_bytes, const dispatcher::answer &answer) {
    char line[256];
    const int length =
        std::snprintf(line, sizeof line, "nprm-simcard: %s %u (%s), %zu bytes: result %u, %zu bytes\n", component.name,
                      answer.operation, answer.name, request_bytes, answer.result, answer.message.size());
    trace_.line({line, std::min(static_cast<size_t>(length), sizeof line - 1)});
}

std::string card_server::control(std::string_view request) {
    const bool is_removed = std::ranges::any_of(segments(), [](const shared_segment *segment) { return segment->was_removed(); });
    const server_view view = {options_.directory, segment_->is_ready(), is_removed, transport_.count(), trace_.dropped()};
    std::string answer = answer_control(card_, view, request);
    publish_readiness();
    let_traffic_run();
    return answer;
}

void card_server::publish_readiness() {
    segment_->publish(!card_.faults.hides_ready());
}
