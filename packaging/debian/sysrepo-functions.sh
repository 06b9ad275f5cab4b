# shellcheck shell=sh disable=SC2034
module=orv_bgp
module_file=/usr/share/yang/modules/orv_bgp.yang
backups=/var/backups

say() { echo "sysrepo-plugin-orv-bgp: $*"; }

# The state of the module in sysrepo: its revision; "new", "updated" or "removed"
# while such a change is scheduled; nothing when sysrepo does not have the module.
# sysrepo makes scheduled changes when a client connects while no other is
# connected, so calling this makes them if that is the case.
module_state() {
    modules=$(sysrepoctl --list) || return 1
    echo "$modules" | awk -F '|' -v name="$module" '
        { gsub(/ /, "", $1) }
        $1 != name { next }
        $3 ~ /N/ { print "new"; exit }
        $3 ~ /U/ { print "updated"; exit }
        $3 ~ /X/ || $3 ~ /^ ..R/ { print "removed"; exit }
        { gsub(/ /, "", $2); print $2 ? $2 : "unrevised" }'
}

is_scheduled() {
    case $1 in
        new | updated | removed) return 0 ;;
        *) return 1 ;;
    esac
}

# When sysrepo changes any module, it loads the startup configuration of every
# module again. Saves a running configuration that differs.
keep_running_configuration() {
    startup=$(mktemp) || return 1
    running=$(mktemp) || return 1
    if ! sysrepocfg --export="$startup" --datastore startup --format xml ||
        ! sysrepocfg --export="$running" --datastore running --format xml; then
        rm -f "$startup" "$running"
        return 1
    fi
    if cmp -s "$startup" "$running"; then
        rm -f "$startup" "$running"
        return 0
    fi
    rm -f "$startup"
    kept_configuration=$(mktemp "$backups/sysrepo-running.XXXXXX.xml") &&
        cat "$running" >"$kept_configuration" || return 1
    rm -f "$running"
    say "the running configuration differs from the startup configuration, which sysrepo" \
        "loads when a module changes; it is kept as $kept_configuration," \
        "restore it with: sysrepocfg --import=$kept_configuration -d running -f xml"
}

# Restarts the plug-in host if it is enabled or runs, also after it failed
# because the module was missing.
restart_host() {
    [ -d /run/systemd/system ] || return 0
    systemctl reset-failed sysrepo-plugind.service 2>/dev/null || true
    deb-systemd-invoke restart sysrepo-plugind.service ||
        say "sysrepo-plugind did not restart: see journalctl -u sysrepo-plugind"
}

open_connections() { sysrepoctl --connection-count; }
