#!/bin/sh
# The recipe of docs/archives.md for several machines: parallel_test.sh PROGRAM
# GNU parallel converts 60 files on two "machines", which are two sshd on 127.0.0.1. One of them is killed with all
# that runs on it, and one file is damaged and repaired before the second run. Exits with 77 when a program is missing.
set -eu

PATH=$PATH:/usr/sbin
for program in parallel ssh sshd ssh-keygen; do
    command -v $program >/dev/null || { echo "$program is missing"; exit 77; }
done
parallel --version 2>/dev/null | grep -q 'GNU parallel' || { echo "parallel is not GNU parallel"; exit 77; }
sshd=$(command -v sshd) # wants to be started by its full path
scratch=$(mktemp -d)
sshd_a=
sshd_b=

# All processes below the given one.
list_below() {
    cat /proc/[0-9]*/stat 2>/dev/null | sed 's/^\([0-9]*\) (.*) [A-Z] \([0-9]*\) .*/\1 \2/' | awk -v root="$1" '
        { parent[$1] = $2 }
        END { for (pid in parent) { for (up = pid; up in parent && up != root;) up = parent[up]; if (up == root) print pid } }'
}

# Like a power failure: nothing on the "machine" gets a chance to clean up.
kill_machine() {
    # Stopped, it starts nothing new while the list is made.
    kill -STOP "$1"
    # shellcheck disable=SC2046 # a list of numbers, which includes the given one
    kill -KILL $(list_below "$1") 2>/dev/null || true
}

end() {
    status=$?
    trap - EXIT
    [ ! -e "$scratch/ssh_config" ] || ssh -F "$scratch/ssh_config" -O exit a 2>/dev/null || true
    for pid in $sshd_a $sshd_b; do
        kill_machine "$pid" 2>/dev/null || true
    done
    [ $status -eq 0 ] || tail -n 20 "$scratch"/*.log "$scratch/joblog" 2>/dev/null || true
    rm -rf "$scratch"
    exit $status
}
trap end EXIT
trap 'exit 1' HUP INT TERM
fail() { echo "FAILED: $*" >&2; exit 1; }

ln -s "$1" "$scratch/vantrel-kit"
kit=$scratch/vantrel-kit
masters=$scratch/masters
music=$scratch/music

# --- two machines
ssh-keygen -q -t ed25519 -N '' -f "$scratch/host"
ssh-keygen -q -t ed25519 -N '' -f "$scratch/user"
# The package makes this folder only when the service starts.
[ "$(id -u)" -ne 0 ] || mkdir -p /run/sshd
# Without the start-up files of the user's shell, which may take seconds for each login.
cat >"$scratch/sshd_config" <<END
ListenAddress 127.0.0.1
HostKey $scratch/host
AuthorizedKeysFile $scratch/user.pub
StrictModes no
UsePAM no
PasswordAuthentication no
PidFile none
SetEnv HOME=$scratch
END
# start_machine NAME: sets $started to its process, on a port that was free.
start_machine() {
    for try in 1 2 3 4 5 6 7 8; do
        port=$((20000 + $(od -An -N2 -tu2 /dev/urandom) % 12000))
        "$sshd" -D -e -f "$scratch/sshd_config" -p $port </dev/null 2>>"$scratch/sshd-$1.log" &
        started=$!
        cat >"$scratch/ssh_config.$1" <<END
Host $1
    HostName 127.0.0.1
    Port $port
    User $(id -un)
    IdentityFile $scratch/user
    IdentitiesOnly yes
    BatchMode yes
    StrictHostKeyChecking no
    UserKnownHostsFile $scratch/known_hosts
    LogLevel ERROR
    ServerAliveInterval 15
    ControlMaster auto
    ControlPath $scratch/%C
    ControlPersist 60
END
        for wait in 1 2 3 4 5 6 7 8 9 10; do
            kill -0 $started 2>/dev/null || continue 2
            sleep 0.2
            if ssh -F "$scratch/ssh_config.$1" "$1" true </dev/null 2>>"$scratch/ssh.log"; then
                # Another program's answer on this port would not know the key; but sshd itself may have ended.
                kill -0 $started 2>/dev/null && return
            fi
        done
        kill $started
    done
    # An account without a password that works, or without a shell; root's works everywhere.
    [ "$(id -u)" -eq 0 ] || { echo "this user cannot log in by ssh"; exit 77; }
    fail "no login at machine $1 (try $try, wait $wait)"
}
start_machine a
sshd_a=$started
start_machine b
sshd_b=$started
cat "$scratch/ssh_config.a" "$scratch/ssh_config.b" >"$scratch/ssh_config"

# --- an archive
# shellcheck disable=SC2059 # the inner printf makes the format
be64() { printf "$(printf '\\0\\0\\0\\0\\%o\\%o\\%o\\%o' $(($1 >> 24 & 255)) $(($1 >> 16 & 255)) $(($1 >> 8 & 255)) $(($1 & 255)))"; }
sound=40000
make_file() {
    printf 'FRM8' && be64 $((118 + sound)) && printf 'DSD '
    printf 'FVER' && be64 4 && printf '\001\005\0\0'
    printf 'PROP' && be64 74 && printf 'SND '
    printf 'FS  ' && be64 4 && printf '\000\053\021\000'
    printf 'CHNL' && be64 10 && printf '\0\002SLFTSRGT'
    printf 'CMPR' && be64 20 && printf 'DSD \016not compressed\0'
    printf 'DSD ' && be64 $sound
    yes "sound of $1" | head -c $sound
}
for disc in 1 2 3; do
    mkdir -p "$masters/disc $disc"
    for track in $(seq -w 20); do
        make_file "$disc $track" >"$masters/disc $disc/it's $track.dff"
    done
done
damaged="$masters/disc 2/it's 07.dff"
cp "$damaged" "$scratch/whole.dff"
head -c 30000 "$scratch/whole.dff" >"$damaged"
(cd "$masters" && find . -name '*.dff' | sort) >"$scratch/list"
[ "$(wc -l <"$scratch/list")" -eq 60 ] || fail "60 files were to be made"

# --- the recipe
export PARALLEL_HOME="$scratch/parallel"
mkdir "$PARALLEL_HOME"
run() {
    parallel --will-cite --ssh "ssh -F $scratch/ssh_config" --sshlogin 2/a,2/b \
        --joblog "$scratch/joblog" --retries 3 "$@" \
        "$kit convert --json --skip-existing --jobs 1 -o $music/{.}.dsf $masters/{}" :::: "$scratch/list"
}
# count HOST: jobs that the log has as done on it
count() { awk -F '\t' -v host="$1" '$2 == host && $7 == 0 { ++jobs } END { print jobs + 0 }' "$scratch/joblog"; }

run </dev/null >"$scratch/first.json" 2>"$scratch/first.log" &
run_pid=$!
until [ -e "$scratch/joblog" ] && [ "$(count b)" -ge 5 ]; do
    kill -0 $run_pid 2>/dev/null || fail "the run ended early"
    sleep 0.05
done
kill_machine "$sshd_b"
sshd_b=
done_before=$(($(count a) + $(count b)))
[ "$done_before" -lt 55 ] || fail "the run was over before machine b was killed"
status=0
wait $run_pid || status=$?
[ $status -eq 1 ] || fail "the first run ended with $status; the damaged file alone should have failed"
parts=$(find "$music" -name '.*.part' | wc -l)
[ "$parts" -le 2 ] || fail "$parts temporary files are left, of two jobs"
find "$music" -name '.*.part' -exec rm {} +

cp "$scratch/whole.dff" "$damaged"
lines=$(wc -l <"$scratch/joblog")
run --resume-failed </dev/null >"$scratch/second.json" 2>"$scratch/second.log" || fail "the second run ended with $?"
lines=$(($(wc -l <"$scratch/joblog") - lines))
[ "$lines" -eq 1 ] || fail "the second run did $lines jobs instead of that of the repaired file"

# --- everything is there, once
(cd "$music" && find . -type f | sed 's/dsf$/dff/' | sort) | diff "$scratch/list" - || fail "the outputs are not those of the inputs"
grep -h '"status":"converted"' "$scratch/first.json" "$scratch/second.json" >"$scratch/converted" || true
sed 's/.*"input":"\([^"]*\)".*/\1/' "$scratch/converted" | sort | uniq -d | grep . && fail "converted twice"
grep -v '"verified":true' "$scratch/converted" && fail "not verified"
[ "$(wc -l <"$scratch/converted")" -ge 58 ] || fail "only $(wc -l <"$scratch/converted") outputs are reported as verified"
"$kit" check "$music" >"$scratch/check.log" || fail "check"
"$kit" compare "$masters" "$music" >"$scratch/compare.log" || fail "compare"
[ "$(grep -c ': identical: ' "$scratch/compare.log")" -eq 60 ] || fail "compare did not compare 60 pairs"
echo "60 files: $(count a) on machine a, $(count b) on machine b, $done_before when b was killed, $parts temporary files left"
