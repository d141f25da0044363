#include "framework/core/channel.h"

#include <utility>

#include "framework/core/channel_table.h"

namespace CORE {

MessageChannel::MessageChannel() = default;
MessageChannel::~MessageChannel() = default;
ChannelCarrier::ChannelCarrier() = default;
ChannelCarrier::~ChannelCarrier() = default;

void ChannelTable::setCarrier(std::shared_ptr<ChannelCarrier> carrier) {
    const std::lock_guard lock(mutex_);
    std::swap(carrier_, carrier);
}

std::shared_ptr<ChannelCarrier> ChannelTable::carrier() const {
    const std::lock_guard lock(mutex_);
    return carrier_;
}

void ChannelTable::add(const std::shared_ptr<MessageChannel>& channel) {
    const std::lock_guard lock(mutex_);
    channel->handle_ = ++lastHandle_;
    channels_.emplace(channel->handle_, channel);
}

void ChannelTable::remove(const std::shared_ptr<MessageChannel>& channel) {
    const std::lock_guard lock(mutex_);
    channels_.erase(channel->handle());
}

std::shared_ptr<MessageChannel> ChannelTable::find(std::uint64_t handle) const {
    const std::lock_guard lock(mutex_);
    const auto found = channels_.find(handle);
    return found == channels_.end() ? nullptr : found->second;
}

std::size_t ChannelTable::size() const {
    const std::lock_guard lock(mutex_);
    return channels_.size();
}

}  // namespace CORE
