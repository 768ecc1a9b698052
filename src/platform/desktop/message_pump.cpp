#include "platform/desktop/message_pump.h"

#include "platform/desktop/replaceable.h"
#include "platform/desktop/window.h"

namespace corveth {

namespace {

Replaceable<void()>& handler() {
    static Replaceable<void()> handler(pumpWindowMessages);
    return handler;
}

} // namespace

void pumpMessages() {
    handler()();
}

MessagePump setMessagePump(MessagePump pump) {
    return handler().set(std::move(pump));
}

} // namespace corveth
