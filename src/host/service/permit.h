// What a ticket permits, by the plug-in's own description of its operations.
#pragma once

#include "channel/channel_server.h"
#include "framework/core/property_bag.h"

namespace mfwhost {

// `operations` is as CORE::PluginDescribeFunction fills it. Tickets for operations reach the worker
// "ws_admin", and the framework's own to have a text encrypted; an operation that the description does not
// have is the worker's to refuse.
channel::Permit permitOf(const CORE::PropertyBag& operations);

}  // namespace mfwhost
