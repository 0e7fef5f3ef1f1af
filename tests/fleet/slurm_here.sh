# A Slurm of one machine without systemd, for tests: sourced, not run. Needs root and the packages slurm-wlm and munge.
# slurm_start FOLDER [NODES] keeps everything in that folder and returns when the nodes are idle; slurm_stop ends it.
# Two nodes are two slurmd of this machine with half of the processors each.

slurm_start() {
  slurm_dir=$1
  local nodes=${2:-2} host
  host=$(hostname -s)
  mkdir -p "$slurm_dir"/{state,spool,munge}
  chmod 755 "$slurm_dir"
  # A munge of our own, beside one that the machine may run.
  head -c 1024 /dev/urandom >"$slurm_dir/munge/key"
  chmod 400 "$slurm_dir/munge/key"
  chown -R munge "$slurm_dir/munge"
  runuser -u munge -- munged --key-file="$slurm_dir/munge/key" --socket="$slurm_dir/munge/socket" \
    --pid-file="$slurm_dir/munge/pid" --log-file="$slurm_dir/munge/log" --seed-file="$slurm_dir/munge/seed" --force
  {
    echo "ClusterName=here"
    echo "SlurmctldHost=$host(127.0.0.1)"
    echo "SlurmUser=root"
    echo "SlurmdUser=root"
    echo "AuthType=auth/munge"
    echo "AuthInfo=socket=$slurm_dir/munge/socket"
    echo "CredType=cred/munge"
    echo "SlurmctldPort=26817"
    echo "StateSaveLocation=$slurm_dir/state"
    echo "SlurmdSpoolDir=$slurm_dir/spool/%n"
    echo "SlurmctldPidFile=$slurm_dir/slurmctld.pid"
    echo "SlurmdPidFile=$slurm_dir/slurmd-%n.pid"
    echo "SlurmctldLogFile=$slurm_dir/slurmctld.log"
    echo "SlurmdLogFile=$slurm_dir/slurmd-%n.log"
    echo "ProctrackType=proctrack/linuxproc"
    echo "TaskPlugin=task/none"
    echo "JobAcctGatherType=jobacct_gather/none"
    echo "AccountingStorageType=accounting_storage/none"
    echo "JobCompType=jobcomp/filetxt"
    echo "JobCompLoc=$slurm_dir/completed"
    echo "MpiDefault=none"
    echo "ReturnToService=2"
    echo "MaxArraySize=10001"
    echo "SelectType=select/cons_tres"
    echo "SelectTypeParameters=CR_Core"
    echo "SchedulerParameters=batch_sched_delay=0,sched_interval=1"
    echo "KillWait=2"
    echo "SlurmdTimeout=10"
    local node
    for ((node = 1; node <= nodes; ++node)); do
      echo "NodeName=here$node NodeHostname=$host NodeAddr=127.0.0.1 Port=$((26820 + node)) CPUs=1"
    done
    echo "PartitionName=all Nodes=here[1-$nodes] Default=YES MaxTime=INFINITE State=UP"
  } >"$slurm_dir/slurm.conf"
  echo "IgnoreSystemd=yes" >"$slurm_dir/cgroup.conf"
  export SLURM_CONF=$slurm_dir/slurm.conf
  slurmctld -f "$SLURM_CONF"
  local node
  for ((node = 1; node <= nodes; ++node)); do slurm_node_start "here$node"; done
  local attempt
  for ((attempt = 0; attempt < 600; ++attempt)); do
    [ "$(sinfo -h -t idle -o %D 2>/dev/null)" = "$nodes" ] && return 0
    sleep 0.1
  done
  tail -n 5 "$slurm_dir"/*.log >&2
  return 1
}

slurm_node_start() { slurmd -f "$SLURM_CONF" -N "$1"; }

slurm_node_kill() { kill -9 "$(cat "$slurm_dir/slurmd-$1.pid")"; }

slurm_stop() {
  # Another configuration is that of a cluster which is none of ours.
  [ "${SLURM_CONF:-}" = "$slurm_dir/slurm.conf" ] || return 0
  scancel --full --quiet --user root 2>/dev/null
  local pid
  for pid in "$slurm_dir"/slurmd-*.pid "$slurm_dir/slurmctld.pid" "$slurm_dir/munge/pid"; do
    [ -r "$pid" ] && kill "$(cat "$pid")" 2>/dev/null
  done
  sleep 0.3
}
