// daemon_file.h: where the router's daemon keeps what it knows about the device, one JSON object.
//
// Its two readers have not more in common: one insists on the right to write the file, the other on its size, and
// their failures differ. Neither may wait when somebody else has put a FIFO there, as anyone may in /tmp.
#pragma once

namespace zel {

inline constexpr const char* kDaemonFile = "/tmp/norva_daemon.info";

}  // namespace zel
