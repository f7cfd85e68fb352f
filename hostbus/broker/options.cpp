#include "options.h"

#include <getopt.h>
#include <ubus_common.h>

#include "start_error.h"

namespace hostbus {

const char kHelp[] =
    "Usage: hostbusd [-s PATH]\n"
    "The bus broker. It stays in the foreground; SIGTERM or SIGINT ends it.\n"
    "  -s PATH     socket to listen on (default: " UBUS_UNIX_SOCKET
    ")\n"
    "  -h, --help  print this text\n";

Options parse_options(int argc, char** argv) {
  static const option kLong[] = {{"help", no_argument, nullptr, 'h'}, {nullptr, 0, nullptr, 0}};
  Options options;
  options.socket_path = UBUS_UNIX_SOCKET;
  opterr = 0;
  for (int c; (c = getopt_long(argc, argv, ":s:h", kLong, nullptr)) != -1;) {
    switch (c) {
      case 's':
        options.socket_path = optarg;
        options.built_in_path = false;
        break;
      case 'h':
        options.help = true;
        break;
      case ':':
        throw StartError("option -s needs a socket path: see hostbusd --help");
      default:
        throw StartError(std::string("unknown option ") + argv[optind - 1] + ": see hostbusd --help");
    }
  }
  if (optind < argc) throw StartError(std::string("unexpected ") + argv[optind] + ": see hostbusd --help");
  return options;
}

}  // namespace hostbus
