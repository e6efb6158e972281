#!/usr/bin/env bash
# Starts a bus server, desk loggers and Apache with the plug-in and the echo plug-in, and measures what a browser
# costs there.
#
# usage: bench/browser_bench.sh [build tree]     (default: build/release)
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
tree=$(cd "${1:-$top/build/release}" && pwd)
port=${PORT:-28080}
bus_port=${BUS_PORT:-28010}
loggers=3

runtime=$(mktemp -d)
chmod 755 "$runtime"
parts=()
stop() {
  kill "${parts[@]}" 2>/dev/null || true
  wait
  rm -rf "$runtime"
}
trap stop EXIT

start() {
  setpriv --pdeathsig TERM "$@" >>"$runtime/log" 2>&1 &
  parts+=("$!")
}

export KRPBUS_SERVER=127.0.0.1:$bus_port KRPBUS_MAC=02:00:00:00:00:01
start /usr/sbin/nats-server -a 127.0.0.1 -p "$bus_port"
for ((i = 1; i <= loggers; i++)); do
  start "$tree/desk/desklogger" --mac "02:00:00:00:00:0$i" --name "Desk $i" --type Stratolog2
done

mkdir "$runtime/httpd" "$runtime/page" "$runtime/access"
user=www-data group=www-data
((EUID == 0)) || { user="#$EUID" group="#$(id -g)"; }
sed -e "s|@PORT@|$port|g" -e "s|@SERVER_ROOT@|$runtime/httpd|g" -e "s|@MODULE_DIR@|/usr/lib/apache2/modules|g" \
  -e "s|@MOD_WEBSOCKET@|$tree/host/mod_websocket.so|g" -e "s|@KRWEBSOCKET@|$tree/plugin/krwebsocket.so|g" \
  -e "s|@DOCUMENT_ROOT@|$runtime/page|g" -e "s|@USER@|$user|g" -e "s|@GROUP@|$group|g" -e "s|@NAMES@||g" -e "s|@BUS_PORT@|$bus_port|g" \
  -e "s|@ACCESS_DIR@|$runtime/access|g" -e "s|@NETWORK_DIR@|$runtime|g" -e "s|@PLUGIN_LOG@|$runtime/error.log|g" -e "s|@ACCESS_LOG@|$runtime/access.log|g" \
  -e "s|@ERROR_LOG@|$runtime/error.log|g" "$top/host/apache/httpd.conf.in" >"$runtime/httpd.conf"
cat >>"$runtime/httpd.conf" <<END
<Location "/echo">
    Require all granted
    SetHandler websocket-handler
    WebSocketHandler "$tree/tests/kit/echo_plugin.so" echo_init
</Location>
END
start /usr/sbin/apache2 -f "$runtime/httpd.conf" -DFOREGROUND
server=${parts[-1]}

"$tree/packaging/probe/live_view_probe" "$port" "$loggers" 60
"$tree/bench/browser_bench" "$port" "$loggers" "$server"
