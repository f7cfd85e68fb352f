// commands.h: the command line with a verb.
#pragma once

namespace routerbox {

// Carries out `routerbox VERB...` and returns its exit status. Throws Failure with one of Status, or the box's own.
int run_verb(int argc, char** argv);

}  // namespace routerbox
