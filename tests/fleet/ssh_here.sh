# Hosts for tests: sshd of our own on this machine's loopback, each on a port of its own. Sourced, not run. Needs root
# and the packages openssh-server and openssh-client.
# ssh_start FOLDER HOSTS...: host keys, a user key and an ssh that knows them all; SSH_HERE is the command for it.

ssh_start() {
  ssh_dir=$1
  shift
  local host port=26840
  mkdir -p "$ssh_dir" /run/sshd
  ssh-keygen -q -t ed25519 -N '' -f "$ssh_dir/user"
  local config=$ssh_dir/config
  for host; do
    port=$((port + 1))
    ssh-keygen -q -t ed25519 -N '' -f "$ssh_dir/$host.key"
    # A bash that is no outermost one reads no startup files of the user, which may do anything.
    printf '%s\n' "SetEnv SHLVL=1" "Port $port" "ListenAddress 127.0.0.1" "HostKey $ssh_dir/$host.key" "PidFile none" \
      "AuthorizedKeysFile $ssh_dir/user.pub" "StrictModes no" "UsePAM no" "PermitRootLogin yes" >"$ssh_dir/$host.conf"
    printf '%s\n' "Host $host" "HostName 127.0.0.1" "Port $port" "User $(id -un)" >>"$config"
    # In a process namespace of its own, so that a host can go down with everything that runs on it.
    unshare --pid --fork --kill-child --mount-proc /usr/sbin/sshd -D -e -f "$ssh_dir/$host.conf" \
      </dev/null >/dev/null 2>"$ssh_dir/$host.log" &
    echo $! >"$ssh_dir/$host.pid"
  done
  printf '%s\n' "Host *" "IdentityFile $ssh_dir/user" "StrictHostKeyChecking no" "UserKnownHostsFile /dev/null" \
    "LogLevel ERROR" >>"$config"
  SSH_HERE="ssh -F $config"
  for host; do
    local attempt
    for ((attempt = 0; attempt < 50; ++attempt)); do
      $SSH_HERE "$host" true 2>/dev/null && continue 2
      sleep 0.1
    done
    cat "$ssh_dir/$host.log" >&2
    return 1
  done
}

# ssh_down HOST: the host is gone, with its connections and what runs in them.
ssh_down() {
  kill -KILL "$(cat "$ssh_dir/$1.pid")"
  rm "$ssh_dir/$1.pid"
}

ssh_stop() {
  local pid
  for pid in "$ssh_dir"/*.pid; do
    [ -r "$pid" ] && kill -KILL "$(cat "$pid")" 2>/dev/null
  done
}
