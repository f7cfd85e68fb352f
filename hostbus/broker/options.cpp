#include "options.h"

#include <getopt.h>
#include <ubus_common.h>

#include "start_error.h"

namespace hostbus {

const char kHelp[] =
    "Usage: hostbusd [-s PATH] [--faults PATH]\n"
    "The bus broker. It stays in the foreground; SIGTERM or SIGINT ends it.\n"
    "  -s PATH        socket to listen on (default: " UBUS_UNIX_SOCKET
    ")\n"
    "  --faults PATH  datagram socket that takes orders to misbehave, for tests of programs\n"
    "  -h, --help     print this text\n"
    "\n"
    "Orders, one a datagram; \"ok\" or what is wrong with it is sent back:\n"
    "  late MS        from now on handle what a client sends, and greet a new one, MS milliseconds later; 0: "
    "at once\n"
    "  drop OBJECT    close the connection of the object's owner\n"
    "  drop PID       close all connections of the process\n"
    "  oversize on    pass calls on that the caller's account makes longer than the limit, as the router's "
    "broker\n"
    "                 does, instead of answering 2; off: answer again\n";

Options parse_options(int argc, char** argv) {
  static const option kLong[] = {{"help", no_argument, nullptr, 'h'},
                                 {"faults", required_argument, nullptr, 'f'},
                                 {nullptr, 0, nullptr, 0}};
  Options options;
  options.socket_path = UBUS_UNIX_SOCKET;
  opterr = 0;
  for (int c; (c = getopt_long(argc, argv, ":s:h", kLong, nullptr)) != -1;) {
    switch (c) {
      case 's':
        options.socket_path = optarg;
        options.built_in_path = false;
        break;
      case 'f':
        options.faults_path = optarg;
        break;
      case 'h':
        options.help = true;
        break;
      case ':':
        throw StartError(std::string("option ") + argv[optind - 1] +
                         " needs a socket path: see hostbusd --help");
      default:
        throw StartError(std::string("unknown option ") + argv[optind - 1] + ": see hostbusd --help");
    }
  }
  if (optind < argc) throw StartError(std::string("unexpected ") + argv[optind] + ": see hostbusd --help");
  return options;
}

}  // namespace hostbus
