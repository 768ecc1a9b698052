#include "platform/desktop/message_pump.h"

#include <mutex>
#include <utility>

namespace corveth {

namespace {

std::mutex pumpMutex;

MessagePump& currentPump() {
    static MessagePump pump;
    return pump;
}

} // namespace

void pumpMessages() {
    MessagePump pump;
    {
        const std::scoped_lock lock(pumpMutex);
        pump = currentPump();
    }
    if (pump) pump();
}

MessagePump setMessagePump(MessagePump pump) {
    const std::scoped_lock lock(pumpMutex);
    return std::exchange(currentPump(), std::move(pump));
}

} // namespace corveth
