// StartTLS as the documentation of the platform's client has it: LDAP_OTHER and the server's code where the
// server refuses. Wine's returns that code itself, and waits for a handshake without a limit.
#pragma once

namespace wstest {

inline unsigned long startTlsHandshake =
    0;  // what the call returns when the server agrees; nothing else is done

}  // namespace wstest
