// Routes as people and ip(8) write them, and the FIB records that the card takes.
//
//   PREFIX MAC UIDB                                   192.0.2.0/24 02:00:00:00:00:01 7
//   what "ip route" and "ip -6 route" print           192.0.2.0/24 via 198.51.100.1 dev eth0 proto static metric 100
//
// A line of ip(8) tells no MAC and no UIDB; nexthop_names has them by gateway and device.
#ifndef NPRMCTL_FIB_ROUTES_H
#define NPRMCTL_FIB_ROUTES_H

#include "nprm.h"
#include "text_input.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct fib_entry {
    nprm_fib_prefix prefix;
    nprm_fib_nexthop nexthop;
};

// The MAC address and UIDB of next hops.  A text of names has a line each: NAME MAC UIDB.  NAME is a gateway's address, a device,
// or GATEWAY%DEVICE, which goes before the gateway, which goes before the device.
class nexthop_names {
  public:
    void read(std::string_view text, std::vector<text_error> &errors);
    // What next hops without a name get.
    void set_other(const nprm_fib_nexthop &nexthop) { other_ = nexthop; }
    // gateway, device: empty when the route has none.  Null when nothing is known.
    const nprm_fib_nexthop *find(const std::string &gateway, const std::string &device) const;

  private:
    std::map<std::string, nprm_fib_nexthop, std::less<>> names_;
    std::optional<nprm_fib_nexthop> other_;
};

// Reads a text of routes line by line.  A route of several next hops gets the first: a FIB record has one.
class route_reader {
  public:
    // default_is_ipv6: what "default" means in a line that does not tell by its gateway
    route_reader(const nexthop_names &names, bool default_is_ipv6) : names_(names), default_is_ipv6_(default_is_ipv6) {}

    // The route that this line completes, if it does; what is wrong goes to errors.
    std::optional<fib_entry> read(std::string_view line, uint32_t number, std::vector<text_error> &errors);
    // A route whose next hops did not come is an error.
    void end(std::vector<text_error> &errors);
    // Lines that are routes of the host itself (local, broadcast, ...), of some packets only, or further next hops.
    uint32_t left_out() const { return left_out_; }

  private:
    // What a line tells of a route but its next hops, which may come in lines of their own.
    struct route_head {
        nprm_fib_prefix prefix;
        bool is_default;
        bool is_special;  // for some packets only: by their source, their TOS, or a table that a rule names
        uint32_t metric;
    };
    struct unfinished_route {
        route_head head;
        text_error error;
    };

    std::optional<fib_entry> read_words(word_reader &words, std::string_view line);
    std::optional<fib_entry> read_nexthops(word_reader &words, route_head head, std::string_view line);
    std::optional<fib_entry> named(word_reader &words, const route_head &head, const std::string &gateway,
                                   const std::string &device, uint32_t column);
    bool is_repeated(word_reader &words, const route_head &head, uint32_t column);

    const nexthop_names &names_;
    bool default_is_ipv6_;
    std::optional<unfinished_route> unfinished_;
    std::optional<route_head> last_;  // the route of ip(8) that was read last
    bool nexthops_may_follow_ = false;
    uint32_t left_out_ = 0;
};

// One word each; none and an error text when it is not what it should be.   offset: where in the word it goes wrong
struct word_error {
    size_t offset = 0;
    std::string message;
};
std::optional<nprm_fib_prefix> prefix_of(std::string_view word, word_error &error);
std::optional<nprm_fib_nexthop> nexthop_of(std::string_view mac, std::string_view uidb, word_error &error);
// An address without a length, as it is looked up.
std::optional<nprm_fib_prefix> address_of(std::string_view word, word_error &error);

// "192.0.2.0/24", "02:00:00:00:00:01"
std::string prefix_text(const nprm_fib_prefix &prefix);
std::string mac_text(const nprm_fib_nexthop &nexthop);

#endif
