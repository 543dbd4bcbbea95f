// Asks the simulated card over its control socket, one datagram each way.

#include "card_control.h"

#include "card_place.h"
#include "failure.h"
#include "platform/local/ruv_local.h"
#include "simcard/nprm_simcard.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using nlohmann::ordered_json;

constexpr timeval patience = {2, 0};
constexpr const char *start_hint = "start a card: nprm-simcard";

class control_socket {
  public:
    control_socket() : descriptor_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {}
    ~control_socket() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    control_socket(const control_socket &) = delete;
    control_socket &operator=(const control_socket &) = delete;
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

failure no_card(const std::string &why, const std::string &next = start_hint) {
    return refused("no simulated card answers: " + why, next);
}

// A card that is there and does nothing: its listening socket tells which process that is.
failure silent_card(int descriptor) {
    ucred peer = {};
    socklen_t bytes = sizeof peer;
    const bool known = getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0;
    const std::string process = known ? std::to_string(peer.pid) : "PID";
    return refused(
        "the simulated card, process " + process + ", does not answer within " + std::to_string(patience.tv_sec) + " seconds",
        "ps -o pid,stat,args -p " + process + " shows whether it is stopped (T) or busy (R)");
}

sockaddr_un control_address() {
    const card_place place = find_card_place();
    if (!place.wrong.empty()) throw no_card(place.wrong, place.next);
    sockaddr_un address;
    const int error = ruv_local_address(&address, place.directory.c_str(), RUV_LOCAL_CONTROL);
    if (error != 0) throw no_card(explained_place(error, place.directory).wrong);
    return address;
}

// One datagram out, one back.
std::string exchange(const std::string &request) {
    const sockaddr_un address = control_address();
    const control_socket control;
    const int descriptor = control.descriptor();
    if (descriptor < 0) throw no_card(std::strerror(errno));
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) < 0) {
        if (errno == EAGAIN) throw silent_card(descriptor);
        throw no_card(std::string(address.sun_path) + ": " + std::strerror(errno));
    }
    std::string answer(NPRM_SIMCARD_CONTROL_MAX, '\0');
    const ssize_t bytes = recv(descriptor, answer.data(), answer.size(), MSG_TRUNC);
    if (bytes < 0 && errno == EAGAIN) throw silent_card(descriptor);
    if (bytes < 0) throw no_card(std::string(address.sun_path) + ": " + std::strerror(errno));
    if (bytes == 0) throw no_card("it ended before it answered");
    if (static_cast<size_t>(bytes) > answer.size()) throw no_card("its answer is longer than agreed");
    answer.resize(static_cast<size_t>(bytes));
    return answer;
}

}  // namespace

ordered_json ask_card(const ordered_json &request) {
    const std::string text = exchange(request.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
    ordered_json answer = ordered_json::parse(text, nullptr, false);
    if (!answer.is_object() || !answer.contains("ok") || !answer["ok"].is_boolean()) throw no_card("its answer cannot be read");
    if (answer["ok"].get<bool>()) {
        answer.erase("ok");
        return answer;
    }
    const bool tells = answer.contains("error") && answer["error"].is_string();
    throw refused("the card says: " + (tells ? answer["error"].get<std::string>() : "no"));
}

std::string advice_for_absent_list() {
    try {
        const ordered_json status = ask_card({{"command", "status"}});
        std::string names;
        const ordered_json &lists = status.at("models").at("TCAM").at("lists");
        for (const ordered_json &list : lists)
            names += (names.empty() ? "" : ", ") + std::to_string(list.at("id").get<uint32_t>());
        if (names.empty()) return "the card has no lists; make one: nprmctl tcam create SIZE";
        return (lists.size() == 1 ? "the card has list " : "the card has lists ") + names;
    } catch (const failure &) {
        return "nprmctl tcam show LIST tells whether there is one; nprmctl tcam create SIZE makes one";
    } catch (const ordered_json::exception &) {
        return "nprmctl card status shows the lists";
    }
}
