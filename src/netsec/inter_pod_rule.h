// The firewall rule that lets other pods of the federation reach this server's programming interface.
#pragma once

namespace wsadmin {

// Switches the rule by a message to this system's own worker. It need not exist. A failure is logged, and the
// caller is not told: without the rule a federation works as soon as an administrator opens the firewall.
void switchInterPodRule(bool enable);

}  // namespace wsadmin
