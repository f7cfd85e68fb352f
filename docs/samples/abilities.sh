# Run as root of a box: for each ability a plug-in that holds all others, and which calls it is refused.
for ability in $(seq 15); do
  others=$(seq 15 | grep -vx "$ability" | paste -sd,)
  zelctl perm insert 99 --name probe --uid 10099 --abilities "$others" >/dev/null
  calls=$(zelctl perm run 99 -- ./abilities 2>/dev/null | sed -n 's/^needs it: //p' | paste -sd' ')
  zelctl perm delete 99 >/dev/null
  echo "$ability: ${calls:-no call}" | fold -s -w 100 | sed '2,$s/^/   /'
done
