# Shell library of ./run: the programs it starts, what happens when one of them ends, and their end.
# Needs setup.sh. Every program is started with a death signal, so that none outlives ./run however that ends.

part_names=() # by process id
part_logs=()  # by process id
part_rotators=() # by process id: what writes its log
part_order=() # process ids in the order of their start
stopping=no

# start_part <name> <log's name> <user> <command>...: starts one program in the background, as another user where
# one is named. A session of its own keeps the terminal's Ctrl-C away from it: parts are stopped in order instead.
# What it writes goes to three files of 4 MB at most, which only we can read.
start_part() {
  local name=$1 log=$runtime/logs/$2.log as=() log_fd rotator
  [[ $3 == '' ]] || as=(--reuid "$3" --regid "$(id -g "$3")" --clear-groups)
  shift 3
  exec {log_fd}> >(umask 077 && exec setsid /usr/bin/rotatelogs -n 3 "$log" 4M {guard_fd}>&-)
  rotator=$!
  setpriv "${as[@]}" --pdeathsig TERM setsid "$@" >&"$log_fd" 2>&1 </dev/null {guard_fd}>&- {log_fd}>&- &
  exec {log_fd}>&-
  part_names[$!]=$name
  part_rotators[$!]=$rotator
  part_order+=("$!")
  part_logs[$!]=$log
  printf '%s\n' "$!" "$rotator" >>"$runtime/pids"
}

# wait_for_log <process id>: waits until all that an ended part has written is in its log.
wait_for_log() {
  local try
  for ((try = 0; try < 50; try++)); do
    runs "${part_rotators[$1]}" || return 0
    sleep 0.02
  done
}

# last_words <process id> <lines>: what an ended part wrote last. A terminal must not take it for commands.
last_words() {
  local newest=${part_logs[$1]} file
  wait_for_log "$1"
  for file in "$newest".*; do [[ ! $file -nt $newest ]] || newest=$file; done
  tail -n "$2" "$newest" 2>/dev/null | cut -c1-500 | cat -v
}

# runs <process id>: whether that process runs; one that only waits to be noticed by its parent does not.
runs() { grep -q '^State:.[^ZX]' "/proc/$1/status" 2>/dev/null; }

# start_guard: starts what cleans up when ./run itself is killed. It sees the end of a pipe that ./run alone
# holds open, waits until the parts, which get their death signal, are gone, and removes the runtime directory.
start_guard() {
  exec {guard_fd}> >(
    trap '' INT TERM HUP
    cat >/dev/null
    for _ in {1..200}; do
      [[ -e $runtime/pids ]] || break
      alive=no
      while read -r pid; do
        ! runs "$pid" || alive=yes
      done <"$runtime/pids"
      [[ $alive == yes ]] || break
      sleep 0.1
    done
    rm -rf "$runtime"
  )
  guard_pid=$!
}

# part_ended <process id>: tells which part has ended by itself and what it wrote last, and stops everything.
part_ended() {
  local name=${part_names[$1]} last
  unset "part_names[$1]"
  last=$(last_words "$1" 5)
  stop_parts
  fail "$name has ended${last:+; it wrote last:$'\n'$last}"
}

# wait_for_part <process id>: waits until this one has ended and answers with its status; any other part's end
# is an error. With an empty process id every part's end is one.
wait_for_part() {
  local ended status
  while true; do
    status=0
    wait -n -p ended || status=$?
    [[ ${ended-} != '' ]] || continue # a signal whose trap has run
    if [[ $ended == "$1" ]]; then
      unset "part_names[$ended]"
      return $status
    fi
    [[ ${part_names[$ended]+set} != set ]] || part_ended "$ended"
  done
}

# stop_parts: ends what was started, the last one first, and removes the runtime directory.
stop_parts() {
  stopping=yes
  trap '' INT TERM HUP
  local index pid
  for ((index = ${#part_order[@]} - 1; index >= 0; index--)); do
    pid=${part_order[index]}
    [[ ${part_names[$pid]+set} == set ]] || continue
    stop_part "$pid"
  done
  for pid in "${part_order[@]}"; do wait_for_log "$pid"; done
  rm -rf "$runtime"
  exec {guard_fd}>&-
  wait "$guard_pid" 2>/dev/null
}

# stop_part <process id>: asks one part to end; kills it when it does not within some 15 s.
stop_part() {
  local try
  kill -TERM "$1" 2>/dev/null || true
  for ((try = 0; try < 150; try++)); do
    runs "$1" || break
    sleep 0.1
  done
  kill -KILL "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
  unset "part_names[$1]"
}
