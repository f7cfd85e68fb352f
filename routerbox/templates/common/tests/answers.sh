#!/bin/sh
# Asks the plug-in, in a box of the test's own.
set -eu
box="@NAME@-test-$$"
routerbox up --quiet --name "$box"
trap 'routerbox down --name "$box"' EXIT

answer=$(routerbox send @NAME@ "Is anybody there?" --name "$box")
[ "$answer" = "17 bytes, thank you" ] || { echo "it answered: $answer"; exit 1; }
