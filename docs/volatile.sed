# What differs from run to run, in lines that a page shows as printed: any text will do there (docs/run-pages --yes).
/^    [^$>]/{
/ \(glob\)$/b
h
s,/tmp/cramtests-[^/]*/[^/]*\.md,*,g
s, /[^ ]*/(share/routerbox|docs/pages|bin)/, */\1/,g
s/\[[0-9]{2}-[0-9]{2} [0-9 ]{2}:[0-9 ]{2}:[0-9 ]{2}\]/[*]/g
s/\b(in|within|took) [0-9]+ ?ms\b/\1 *ms/g
s/\([0-9]+\.[0-9] ms\)/(* ms)/g
s/^(    (#  )? *)[0-9]+\.[0-9]{3}  (bus|events|router|downloads|files|life) /\1*  \3 /
s/  start  [0-9]+$/  start  */
s/\b[0-9]+ KiB\b/* KiB/
s/^    (to|from) +[0-9a-f]{8} /    \1 * /
s/\b0x[0-9a-f]{9,}/*/g
s/files, [0-9]+ bytes/files, * bytes/
s/"ms":[0-9.]+/"ms":*/g
s/"object":[0-9]{2,}/"object":*/g
s/\b[0-9a-f]{16}\b/*/g
s/user [0-9]+ is no plug-in/user * is no plug-in/
G
# Only what has changed is a pattern: the other wildcards stand for themselves.
/^([^\n]*)\n\1$/{
s/\n.*//
b
}
s/\n.*//
s/$/ (glob)/
}
