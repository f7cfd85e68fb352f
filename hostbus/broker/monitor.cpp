#include "monitor.h"

#include "client.h"

namespace hostbus {

void Monitor::show(const Client& client, const Header& header, Bytes body, bool to_client) {
  if (watchers_.empty()) return;
  Body description;
  description.number(UBUS_MONITOR_CLIENT, client.id())
      .number(UBUS_MONITOR_PEER, header.peer)
      .number(UBUS_MONITOR_SEQ, header.seq)
      .number(UBUS_MONITOR_TYPE, header.type)
      .flag(UBUS_MONITOR_SEND, to_client)
      .data(UBUS_MONITOR_DATA, body.subspan(sizeof(blob_attr)))
      .text(kMonitorUser, client.account().user.c_str());
  for (auto& [watcher, count] : watchers_) {
    if (watcher == &client) continue;
    ++count;
    if (description.fits())
      watcher->send({.type = UBUS_MSG_MONITOR, .seq = count, .peer = 0}, description.bytes());
  }
}

}  // namespace hostbus
