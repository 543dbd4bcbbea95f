// What the models of service nodes, contexts and WCCP entries refuse, with which code; and that a refused message changes nothing.

#include "service_messages.h"

namespace {

// The card has the nodes 1 (addresses 11, 12) and 2 (21); the group 7 with index 3 valid for node 1; the contexts 1 (11, 12), 2
// (21) and 3 (31); the context group 4 of contexts 1 and 2; the WCCP entry 1.
struct wrong {
    const char *name;
    uint32_t component, code;
    message (*request)();
};

message with32(message bytes, size_t offset, uint32_t value) {
    put32(bytes, offset, value);
    return bytes;
}

const wrong cases[] = {
    {"NodeOfAnActionThatIsNone", 2, 2, [] { return node_message(3, 9, 91); }},
    {"NodesOfTwoActions", 2, 3, [] { return both(node_message(act_add, 9, 91), node_message(act_read, 1)); }},
    {"NodeMessageOfTheWrongSize", 2, 3, [] { return with32(node_message(act_add, 9, 91), 4, 2); }},
    {"UnknownOperationOfNodes", 2, 2, [] { return service_message(80, 8, 0); }},
    {"NodeThatExists", 2, 43, [] { return node_message(act_add, 1, 91); }},
    {"NodeWithoutAddress", 2, 3, [] { return node_message(act_add, 9, 0); }},
    {"NodeWithTheAddressOfAnother", 2, 60, [] { return node_message(act_add, 9, 21); }},
    {"NodeWithTheSecondaryAddressOfAnother", 2, 60, [] { return node_message(act_add, 9, 12); }},
    {"NodeWhoseSecondaryAddressAnotherHas", 2, 60, [] { return node_message(act_replace, 2, 21, 11); }},
    {"NodeWhoseSecondaryAddressIsItsFirst", 2, 61, [] { return node_message(act_add, 9, 91, 91); }},
    {"NodeThatIsReadAndAbsent", 2, 36, [] { return node_message(act_read, 9); }},
    {"NodeThatIsDeletedAndAbsent", 2, 36, [] { return node_message(act_delete, 9); }},
    {"NodeThatIsDeletedAndDistributedTo", 2, 44, [] { return node_message(act_delete, 1); }},
    {"NodeThatIsDeletedTwice", 2, 36, [] { return both(node_message(act_delete, 2), node_message(act_delete, 2)); }},

    {"GroupOfAnActionThatIsNone", 2, 2, [] { return group_message(5, 8); }},
    {"GroupThatExists", 2, 50, [] { return group_message(act_add, 7); }},
    {"GroupThatIsReadAndAbsent", 2, 51, [] { return group_message(act_read, 8); }},
    {"GroupThatIsDeletedAndAbsent", 2, 52, [] { return group_message(act_delete, 8); }},
    {"GroupThatIsDeletedAndHasMembers", 2, 52, [] { return group_message(act_delete, 7); }},

    {"MemberThatExists", 2, 53, [] { return member_message(act_add, 3, 7, 1, 2); }},
    {"MemberOfAGroupThatIsAbsent", 2, 53, [] { return member_message(act_replace, 3, 8, 1, 2); }},
    {"MemberOfANodeThatIsAbsent", 2, 36, [] { return member_message(act_add, 4, 7, 1, 9); }},
    {"MemberThatIsReadAndAbsent", 2, 54, [] { return member_message(act_read, 4, 7); }},
    {"MemberThatIsReadInAnAbsentGroup", 2, 54, [] { return member_message(act_read, 3, 8); }},
    {"MemberThatIsDeletedAndAbsent", 2, 55, [] { return member_message(act_delete, 4, 7); }},
    {"MemberThatIsDeletedInAnAbsentGroup", 2, 55, [] { return member_message(act_delete, 3, 8); }},

    {"TraceThatNeitherStartsNorEnds", 2, 56, [] { return flow_message(3, {2}); }},
    {"TraceOfTwoRecords", 2, 3, [] { return both(flow_message(3, {1}), flow_message(3, {1})); }},
    {"DumpThatNeitherStartsNorEnds", 2, 57, [] { return flow_message(4, {2}); }},
    {"DumpOfTwoRecords", 2, 3, [] { return both(flow_message(4, {1}), flow_message(4, {1})); }},
    {"DistributionOfAGroupThatIsAbsent", 2, 54, [] { return flow_message(5, {0}); }},
    {"DistributionOfTwoRecords", 2, 3, [] { return both(flow_message(5, {0}), flow_message(5, {0})); }},
    {"SwapThatIsNeitherOnNorOff", 2, 3, [] { return flow_message(6, {2}); }},
    {"SwapOfTwoRecords", 2, 3, [] { return both(flow_message(6, {1}), flow_message(6, {1})); }},
    {"FrameVersionOfTwoRecords", 2, 3, [] { return both(flow_message(7, {1}), flow_message(7, {1})); }},

    {"ContextOfAnActionThatIsNone", 0, 2, [] { return context_message(3, 9, 91); }},
    {"ContextMessageOfTheWrongSize", 0, 3, [] { return with32(context_message(act_add, 9, 91), 4, 2); }},
    {"UnknownOperationOfContexts", 0, 2, [] { return service_message(38, 2, 0); }},
    {"ContextThatExists", 0, 68, [] { return context_message(act_add, 1, 91); }},
    {"ContextWithoutAddress", 0, 3, [] { return context_message(act_add, 9, 0, 5); }},
    {"ContextWithTheAddressOfAnother", 0, 82, [] { return context_message(act_add, 9, 91, 12); }},
    {"ContextWhoseSecondaryAddressIsItsFirst", 0, 83, [] { return context_message(act_add, 9, 91, 91); }},
    {"ContextThatIsReadAndAbsent", 0, 62, [] { return context_message(act_read, 9); }},
    {"ContextThatIsDeletedAndAbsent", 0, 62, [] { return context_message(act_delete, 9); }},
    {"ContextThatIsDeletedAndGrouped", 0, 69, [] { return context_message(act_delete, 1); }},
    {"SecondContextOfAMessage", 0, 62, [] { return both(context_message(act_delete, 3), context_message(act_delete, 9)); }},

    {"ContextGroupOfAnActionThatIsNone", 0, 2, [] { return context_group_message(3, 5); }},
    {"ContextGroupOfTwoRecords", 0, 3, [] { return both(context_group_message(act_add, 5), context_group_message(act_add, 6)); }},
    {"ContextGroupThatExists", 0, 77, [] { return context_group_message(act_add, 4, {3}); }},
    {"ContextGroupWithAContextTwice", 0, 77,
     [] {
         return context_group_message(act_add, 5, {3, 3});
     }},
    {"ContextGroupWithAnAbsentContext", 0, 62,
     [] {
         return context_group_message(act_replace, 4, {3, 9});
     }},
    {"ContextGroupOfANumberAbove255", 0, 80, [] { return context_group_message(act_add, 256, {3}); }},
    {"ContextGroupOf30Bytes", 0, 80, [] { return with32(context_group_message(act_add, 5), 16, 30); }},
    {"ContextGroupThatIsReadAndAbsent", 0, 79, [] { return context_group_message(act_read, 5); }},
    {"ContextGroupThatIsReadAndAbove255", 0, 81, [] { return context_group_message(act_read, 260); }},
    {"ContextGroupThatIsDeletedAndAbsent", 0, 78, [] { return context_group_message(act_delete, 5); }},
    {"ContextGroupThatIsDeletedAndAbove255", 0, 78, [] { return context_group_message(act_delete, 260); }},

    {"WccpEntryOfAnActionThatIsNone", 9, 2, [] { return wccp_message(3, 9); }},
    {"WccpMessageOfTheWrongSize", 9, 3, [] { return with32(wccp_message(act_add, 9), 4, 2); }},
    {"UnknownOperationOfWccp", 9, 2, [] { return service_message(40, 2, 0); }},
    {"WccpEntryThatExists", 9, 90, [] { return wccp_message(act_add, 1); }},
    {"WccpEntryWithoutTheAddressOfItsFlags", 9, 3, [] { return wccp_message(act_replace, 1, 8); }},
    {"WccpEntryThatIsReadAndAbsent", 9, 84, [] { return wccp_message(act_read, 9); }},
    {"WccpEntryThatIsDeletedAndAbsent", 9, 84, [] { return wccp_message(act_delete, 9); }},
    {"WccpMtuOf0", 9, 3, [] { return service_message(40, 1, 0); }},
    {"WccpMtuAbove65535", 9, 3, [] { return service_message(40, 1, 65536); }},
    {"WccpMtuOfTwoRecords", 9, 3, [] { return service_message(40, 1, 1400, 2); }},
};

class ServiceRefusal : public testing::TestWithParam<wrong> {
  protected:
    ServiceRefusal() {
        const std::pair<uint32_t, message> steps[] = {
            {2, node_message(act_add, 1, 11, 12)},    {2, node_message(act_add, 2, 21)},
            {2, group_message(act_add, 7, 1, 2)},     {2, member_message(act_add, 3, 7, 1, 1)},
            {0, context_message(act_add, 1, 11, 12)}, {0, context_message(act_add, 2, 21)},
            {0, context_message(act_add, 3, 31)},     {0, context_group_message(act_add, 4, {1, 2})},
            {9, wccp_message(act_add, 1, 2, 0x11)},
        };
        for (const auto &[component, request] : steps)
            EXPECT_EQ(card.code_of(component, request), 0U);
    }
    // All that the messages and the counts show.
    std::string everything() {
        std::string text;
        const std::pair<uint32_t, message> reads[] = {
            {2, node_message(act_read, 1)},      {2, node_message(act_read, 2)},    {2, group_message(act_read, 7)},
            {2, member_message(act_read, 3, 7)}, {0, context_message(act_read, 1)}, {0, context_message(act_read, 2)},
            {0, context_message(act_read, 3)},   {9, wccp_message(act_read, 1)},    {0, context_group_message(act_read, 4)},
        };
        for (const auto &[component, request] : reads) {
            const message reply = card.ask(component, request);
            EXPECT_EQ(get32(reply, 8), 0U);
            text += hex_of(reply) + "\n";
        }
        for (const uint32_t component : {0U, 2U, 9U})
            text += services_under_test::state(component).dump() + "\n";
        return text;
    }

    services_under_test card;
};

TEST_P(ServiceRefusal, HasItsCodeInEachRecordAndChangesNothing) {
    const std::string before = everything();
    const message request = GetParam().request(), reply = card.ask(GetParam().component, request);
    const size_t record_bytes = find_component(GetParam().component)->record_bytes;
    const uint32_t units = get32(request, 4);
    ASSERT_EQ(reply.size(), 8 + units * record_bytes);
    message expected(reply.size(), 0);
    put32(expected, 0, get32(request, 0));
    put32(expected, 4, units);
    for (uint32_t i = 0; i < units; ++i)
        put32(expected, 8 + i * record_bytes, GetParam().code);
    EXPECT_EQ(hex_of(reply), hex_of(expected));
    EXPECT_EQ(everything(), before);
}

INSTANTIATE_TEST_SUITE_P(Message, ServiceRefusal, testing::ValuesIn(cases), [](const auto &row) { return row.param.name; });

}  // namespace
