# Reads the emulator's log of target_calls, a line for each instruction: counts those between two marks.
/^mark / { mark = "/" sprintf("%8s", $2); gsub(/ /, "0", mark); next }
/^call / { name[calls++] = substr($0, 6); next }
mark && index($0, mark "/") { inside = ++marks % 2; next }
inside { ++count[(marks - 1) / 2] }
END {
  for (i = 0; i < calls; ++i) printf "instructions\t%s\t%d\n", name[i], count[i]
  exit marks != 2 * calls
}
