// The card without its sockets.

#include "card.h"

card::card(const card_configuration &configuration) : configuration_(configuration) {
    reset();
}

void card::reset() {
    faults.clear();
    acknowledge_only = false;
    traffic = configuration_.traffic;
    for (const component_row &component : served_components())
        component.model->reset(configuration_);
}

void card::advance(std::chrono::microseconds time) {
    const traffic_step step = {static_cast<uint64_t>(time.count()), traffic.packets_per_second};
    for (const component_row &component : served_components())
        if (component.model->advance != nullptr) component.model->advance(step);
}

dispatcher::answer card::serve(const component_row &component, std::span<const std::byte> message,
                               std::optional<uint32_t> refuse_with) {
    const bool acknowledge = acknowledge_only && !refuse_with;
    const dispatcher::answer answer =
        acknowledge ? dispatcher_.acknowledge(component, message) : dispatcher_.serve(component, message, refuse_with);
    counters &count = counters_[component.number];
    ++count.requests;
    if (answer.result != NPRM_OK) ++count.refused;
    return answer;
}
