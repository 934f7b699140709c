# Finds the loops marked with LUT_MCA_LOOP in an aarch64 assembly listing and
# writes each loop body, as llvm-mca reads it, to DIR/NAME.s and its pixels
# per iteration to DIR/NAME.px (NAME is the marker's name.variant).
#
# A marked loop must be one basic block: from the label before the marker to
# the branch back to that label there may be no other label and no other
# branch or call, or the analyser would be given the wrong instructions. The
# loop may be unrolled: the markers it holds add up to its pixels.
# Anything unexpected is an error (exit 1) rather than a guess.
#
# Usage: awk -v dir=DIR -f arm64-loops.awk kernel.s

function fail(msg) {
    print "arm64-loops: " msg > "/dev/stderr"
    failed = 1
    exit 1
}

function isLabel(s) { return s ~ /^[.A-Za-z_$][A-Za-z0-9_.$]*:/ }

# The instruction of a line without comments and indentation, or "".
function instruction(s) {
    sub(/\/\/.*/, "", s)
    gsub(/^[ \t]+|[ \t]+$/, "", s)
    if (s == "" || s ~ /^\./ || isLabel(s))
        return ""
    return s
}

function isBranch(s) { return s ~ /^(b|bl|br|blr|ret|cbz|cbnz|tbz|tbnz|b\.[a-z]+)([ \t]|$)/ }

# The label a branch instruction jumps to (its last operand).
function target(s,    n, parts) {
    n = split(s, parts, /[ \t,]+/)
    return parts[n]
}

{ line[NR] = $0 }

END {
    if (failed)
        exit 1
    for (i = 1; i <= NR; ++i) {
        if (line[i] !~ /LUT-MCA-LOOP /)
            continue
        split(line[i], m, /LUT-MCA-LOOP[ \t]+/)
        split(m[2], f, /[ \t]+/)
        name = f[1]; pixels = f[2] + 0
        if (name == "" || pixels <= 0)
            fail("malformed marker: " line[i])

        # The block holding the marker starts at the nearest label above it.
        for (h = i - 1; h > 0 && !isLabel(line[h]); --h) {
            if (line[h] ~ /\.cfi_startproc/)
                fail(name ": the marker is not inside a loop")
            if (isBranch(instruction(line[h])))
                fail(name ": the marker's loop is not one block (a branch before the marker)")
        }
        if (h == 0)
            fail(name ": no label before the marker")
        header = line[h]
        sub(/:.*/, "", header)

        # The block must end with the branch back to its label.
        for (e = i + 1; e <= NR; ++e) {
            if (isLabel(line[e]) || line[e] ~ /\.cfi_endproc/)
                fail(name ": the marker's loop is not one block (a label before the branch back)")
            ins = instruction(line[e])
            if (isBranch(ins)) {
                if (target(ins) != header || ins ~ /^bl/)
                    fail(name ": the marker's loop is not one block (" ins ")")
                break
            }
        }
        if (name in loopOf) {
            if (loopOf[name] == header)
                continue                # another copy of the body, already counted
            fail(name ": marked in two loops")
        }
        loopOf[name] = header

        file = dir "/" name ".s"
        total = 0
        for (k = h + 1; k <= e; ++k) {
            if (line[k] ~ /LUT-MCA-LOOP /) {
                split(line[k], c, /LUT-MCA-LOOP[ \t]+/)
                if (split(c[2], g, /[ \t]+/) >= 2 && g[1] == name)
                    total += g[2] + 0
            }
            ins = instruction(line[k])
            if (ins != "")
                print "\t" ins > file
        }
        close(file)
        print total > (dir "/" name ".px")
        close(dir "/" name ".px")
        found = found " " name
    }
    if (found == "")
        fail("no marked loops: was the kernel compiled with OXLUT_MCA_REGIONS?")
    print substr(found, 2)
}
