// The card as a process: transport, control socket, status word, timers and signals in one event loop.
#ifndef SIMCARD_SERVER_H
#define SIMCARD_SERVER_H

#include <optional>
#include <string>
#include <vector>

#include "platform/local/ruv_server.h"

#include "card.h"
#include "control_socket.h"
#include "segments.h"
#include "timers.h"
#include "trace_output.h"

struct server_options {
    std::string directory;
    card_configuration card;
    bool acknowledge_only = false;
    bool remove_segments = false;
    bool verbose = false;
};

class card_server {
  public:
    explicit card_server(const server_options &options);
    ~card_server();

    // Listens, then says so in the status word.
    // Throws std::runtime_error with a text that says what to do: see ruv_server::listen(), control_socket, status_segment.
    void listen();

    // Serves until the descriptor, a signalfd, is readable.
    void run(int stop_signals);

  private:
    void handle(const ruv_request &request);
    void deliver_with_faults(const component_row &component, const ruv_request &request);
    void send(const delivery &message, uint64_t peer);
    void trace(const component_row &component, size_t request_bytes, const dispatcher::answer &answer);
    std::string control(std::string_view request);
    void publish_readiness();
    std::vector<const shared_segment *> segments() const;
    void let_traffic_run();

    server_options options_;
    card card_;
    ruv_server transport_;
    control_socket control_;
    std::optional<status_segment> segment_;
    std::optional<shared_segment> statistics_;
    timer_queue timers_;
    std::optional<timer_queue::clock::time_point> traffic_runs_since_;  // until then the models have advanced; none while frozen
    trace_output trace_;
};

#endif
