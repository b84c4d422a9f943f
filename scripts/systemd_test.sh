#!/usr/bin/env bash
# The package under a real systemd: installs it into a minimal Debian 12, boots that in a container, and shows what the unit
# and docs/serve.md promise: start, reload, SIGKILL, a process that hangs, a hook, another root by a drop-in, stop.
#
#   sudo scripts/systemd_test.sh PACKAGE.deb FOLDER
#
# FOLDER keeps the system for the next run, 1 GB. Needs debootstrap, systemd-container, ffmpeg and curl. The container has the
# machine's network, so the ports below must be free. Takes three minutes, and some more the first time.
set -euo pipefail

package=$(realpath "$1")
mkdir -p "$2"
folder=$(realpath "$2")
system=$folder/system
listen=127.0.0.1:18480
source1=udp://127.0.0.1:25001
source2=udp://127.0.0.1:25002

fail() {
  echo "FAILED: $*" >&2
  there journalctl --no-pager -o cat -u k2r -n 30 >&2 || true
  exit 1
}

there() { nsenter -t "$leader" -m -u -i -n -p -C -- "$@"; }

# wait_for SECONDS WHAT COMMAND...
wait_for() {
  local end=$((SECONDS + $1)) what=$2
  shift 2
  until "$@" >/dev/null 2>&1; do
    [ "$SECONDS" -lt "$end" ] || fail "$what"
    sleep 0.5
  done
}

log_has() { there journalctl --no-pager -o cat -u k2r | grep -q "$1"; }
recording_of() { curl -fs "http://$listen/v1/streams" | grep -A12 "\"name\": \"$1\"" | sed -n 's/.*"recording": "\(.*\)".*/\1/p'; }
records() { [ -n "$(recording_of "$1")" ]; }
records_another() { records "$1" && [ "$(recording_of "$1")" != "$2" ]; }
has_restarted() { [ "$(there systemctl show k2r -p NRestarts --value)" = "$1" ]; }

install_system() {
  [ -e "$system/bin/systemctl" ] || debootstrap --variant=minbase --include=systemd,systemd-sysv,dbus,procps bookworm "$system"
  cp /etc/resolv.conf "$system/etc/resolv.conf"
  cp "$package" "$system/root/k2r.deb"
  chroot "$system" apt-get update
  chroot "$system" apt-get install -y --no-install-recommends --reinstall /root/k2r.deb
}

configure() {
  rm -rf "$system"/var/lib/k2r/* "$system"/srv/* "$system"/var/log/journal
  for place in /srv/recordings /srv/copies; do chroot "$system" install -d -o k2r -g k2r -m 750 $place; done
  cat >"$system/etc/k2r/k2r.toml" <<TOML
[server]
listen = "$listen"
[storage]
root = "/var/lib/k2r"
[[stream]]
name = "cam1"
source = "$source1"
on_recording = ["cp", "-r", "{dir}", "/srv/copies/"]
TOML
  mkdir -p "$system/etc/systemd/system/k2r.service.d"
  cat >"$system/etc/systemd/system/k2r.service.d/override.conf" <<UNIT
[Unit]
RequiresMountsFor=/srv/recordings
[Service]
ReadWritePaths=/srv/recordings /srv/copies
UNIT
  chroot "$system" systemctl enable k2r
}

finish() {
  kill "${children[@]}" 2>/dev/null || true
  wait 2>/dev/null || true
}

children=()
leader=0
trap finish EXIT
install_system >"$folder/install.log" 2>&1 || { tail "$folder/install.log" >&2; exit 1; }
configure >>"$folder/install.log" 2>&1

for url in "$source1" "$source2"; do
  ffmpeg -nostdin -loglevel error -re -f lavfi -i testsrc2=size=320x180:rate=25 -f lavfi -i sine -t 1000 -c:v libx264 \
    -preset ultrafast -g 25 -c:a aac -f mpegts "$url?pkt_size=1316" >>"$folder/source.log" 2>&1 &
  children+=($!)
done
systemd-nspawn -D "$system" --register=no --keep-unit --boot >"$folder/boot.log" 2>&1 &
children+=($!)
container=$!
leader_is_there() { leader=$(pgrep -P "$container" | head -1) && [ -n "$leader" ]; }
wait_for 10 "the container does not start" leader_is_there
wait_for 40 "the service does not become active" there systemctl is-active k2r
wait_for 20 "cam1 does not record" records cam1
echo "starts with the machine, and reports that it is ready"

first=$(recording_of cam1)
cat >>"$system/etc/k2r/k2r.toml" <<TOML
[[stream]]
name = "cam2"
source = "$source2"
root = "/srv/recordings"
TOML
there systemctl reload k2r
[ "$(there systemctl is-active k2r)" = active ] || fail "not active after the reload"
wait_for 20 "cam2 does not record" records cam2
[ "$(recording_of cam1)" = "$first" ] || fail "the reload interrupted cam1"
echo "reloads, with a stream in another root"

sleep 10
there systemctl kill -s KILL k2r
wait_for 30 "no restart after SIGKILL" has_restarted 1
wait_for 30 "cam1 does not record after SIGKILL" records_another cam1 "$first"
wait_for 10 "no repair" log_has "cam1: recording $first was interrupted, and is finished now"
wait_for 20 "the hook did not run" there test -f "/srv/copies/$first/$first.bootstrap"
log_has "is in use" && fail "a repair was in the way of another"
echo "comes back after SIGKILL, repairs, and runs the hook"

second=$(recording_of cam1)
sleep 10
there systemctl kill -s STOP k2r
wait_for 100 "the watchdog does not restart a process that hangs" has_restarted 2
wait_for 30 "cam1 does not record after it hung" records_another cam1 "$second"
echo "comes back after it hung"

sleep 10
begin=$(date +%s%N)
there systemctl stop k2r
milliseconds=$((($(date +%s%N) - begin) / 1000000))
[ "$milliseconds" -lt 5000 ] || fail "the stop took $milliseconds ms"
[ "$(there systemctl show k2r -p Result --value)" = success ] || fail "the result of the stop"
echo "stops in $milliseconds ms"

count=0
for recording in "$system"/var/lib/k2r/cam1/2* "$system"/srv/recordings/cam2/2* "$system"/srv/copies/2*; do
  chroot "$system" k2r verify "${recording#"$system"}" >"$folder/verify.log" 2>&1 || fail "$(cat "$folder/verify.log")"
  count=$((count + 1))
done
[ "$count" -ge 8 ] || fail "$count recordings"
echo "all $count recordings and copies are whole"
there poweroff
wait "$container" || true
