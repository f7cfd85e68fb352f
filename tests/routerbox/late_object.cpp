// late_object FILE NAME: waits, makes FILE, then the bus object NAME, and stays.
#include <fcntl.h>
#include <libubus.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  ubus_context* const bus = ubus_connect(nullptr);
  if (bus == nullptr) return 3;
  ::usleep(300000);  // the lateness itself, nothing waits on it
  ::close(::open(argv[1], O_CREAT | O_CLOEXEC, 0600));
  ubus_object_type type{};
  type.name = argv[2];
  ubus_object object{};
  object.name = argv[2];
  object.type = &type;
  if (ubus_add_object(bus, &object) != 0) return 4;
  while (::pause() < 0) {
  }
}
