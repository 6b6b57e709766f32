#!/bin/sh
# mkroot.sh BIN_DIR SCENARIO ROOT
#
# Generates the file tree of a simulated router in ROOT (which must not exist or be
# empty) from the built programs in BIN_DIR (telem_json, nvram, uci, awsiotpub) and a
# scenario (a name under sim/scenarios, or a directory path). See sim/README.md.
#
# The userland is busybox, as on the router, with one exception: /bin/sh is dash.
# busybox's shell runs many of its own applets internally (ps, ip, killall, ...) without
# looking at PATH, which would bypass the router tools simulated here.
set -eu

SIM_DIR=$(cd "$(dirname "$0")" && pwd)
SRC_DIR=$(cd "$SIM_DIR/.." && pwd)

die() {
    echo "mkroot: $*" >&2
    exit 1
}

[ $# -eq 3 ] || die "usage: mkroot.sh BIN_DIR SCENARIO ROOT"
bin=$(cd "$1" && pwd) || die "no build directory $1"
case $2 in
    */*) scen=$(cd "$2" && pwd) || die "no scenario directory $2" ;;
    *) scen=$SIM_DIR/scenarios/$2 ;;
esac
[ -d "$scen" ] || die "no scenario $2 (see $SIM_DIR/scenarios)"
root=$3
if [ -e "$root" ] && [ -n "$(ls -A "$root")" ]; then die "$root exists and is not empty"; fi
common=$SIM_DIR/scenarios/common
umask 022
mkdir -p "$root"
root=$(cd "$root" && pwd)

for d in bin sbin usr/bin usr/sbin usr/lib usr/share lib lib64 etc root tmp var/run var/state \
    var/lock opt dev/shm proc sys .sim/proc .sim/answers; do
    mkdir -p "$root/$d"
done
chmod 1777 "$root/tmp" "$root/dev/shm"
echo "$(basename "$scen")" >"$root/.sim/root-marker"

# --- programs and their shared libraries -----------------------------------------------------

copy_file() { # SOURCE PATH_IN_ROOT
    mkdir -p "$root$(dirname "$2")"
    cp -L "$1" "$root$2"
}

copy_libraries() { # BINARY: the libraries the dynamic loader will look for, same paths
    ldd "$1" 2>/dev/null | awk '$2 == "=>" && $3 ~ /^\// { print $3 } $1 ~ /^\// { print $1 }' |
        while read -r lib; do
            [ -e "$root$lib" ] || copy_file "$lib" "$lib"
        done
}

install_program() { # SOURCE PATH_IN_ROOT
    copy_file "$1" "$2"
    chmod 755 "$root$2"
    copy_libraries "$1"
}

busybox=$(command -v busybox) || die "busybox is missing (make deps installs busybox-static)"
install_program "$busybox" /bin/busybox
dash=$(command -v dash) || die "dash is missing"
install_program "$dash" /bin/sh

[ -x "$bin/telem_json" ] || die "$bin/telem_json is missing (build first)"
install_program "$bin/telem_json" /usr/bin/telem_json
for t in nvram:/usr/sbin/nvram uci:/sbin/uci awsiotpub:/usr/bin/awsiotpub; do
    name=${t%%:*}
    if [ -x "$bin/$name" ]; then
        install_program "$bin/$name" "${t#*:}"
    else
        echo "mkroot: warning: $bin/$name is not built; the router has no $name" >&2
    fi
done
install_program "$SRC_DIR/tools/mcs_publish.sh" /usr/bin/mcs_publish

for f in /usr/lib/*/faketime/libfaketime.so.1 /usr/lib/faketime/libfaketime.so.1; do
    if [ -f "$f" ]; then
        install_program "$f" /usr/lib/faketime/libfaketime.so.1
        break
    fi
done

# --- the router's own tools, simulated -------------------------------------------------------

# name:directory; "optional" tools are installed only when the scenario's `tools` file
# names them (their presence is a feature the daemon detects).
standins="version:/usr/bin burnsn:/usr/bin mpstat:/usr/bin top:/usr/bin ps:/usr/bin
ping:/usr/bin curl:/usr/bin iw:/usr/sbin iwlist:/usr/sbin iwconfig:/usr/sbin ip:/sbin
ifconfig:/sbin swconfig:/sbin arping:/usr/sbin ipcCmd:/usr/sbin thermaltool:/usr/sbin
thermalctrl:/sbin lxc-attach:/usr/bin killall:/usr/bin telem_heartbeat:/usr/bin
telem_wifi:/usr/bin soapc:/usr/sbin"
optional="zt:/usr/bin kiln:/usr/bin circlectl:/usr/bin circled:/usr/bin
get_fingRA_data.sh:/usr/bin fing_dil:/usr/bin bdagent-manage:/opt/bitdefender/bin
wandetect:/usr/sbin"

wanted_optional=""
[ -f "$scen/tools" ] && wanted_optional=$(grep -v '^#' "$scen/tools" | tr '\n' ' ')

install_standin() { # name:directory
    name=${1%%:*}
    [ -f "$SIM_DIR/tools/$name" ] || die "no stand-in sim/tools/$name"
    copy_file "$SIM_DIR/tools/$name" "${1#*:}/$name"
    chmod 755 "$root${1#*:}/$name"
}
for s in $standins; do install_standin "$s"; done
for s in $optional; do
    case " $wanted_optional " in *" ${s%%:*} "*) install_standin "$s" ;; esac
done
for w in $wanted_optional; do
    case " $(echo $optional | tr ' ' '\n' | sed 's/:.*//' | tr '\n' ' ') " in
        *" $w "*) ;;
        *) die "scenario tools file names an unknown tool: $w" ;;
    esac
done
copy_file "$SIM_DIR/lib/tools.sh" /.sim/tools.sh
copy_file "$SIM_DIR/lib/init.sh" /.sim/init

# busybox applets for every other command (never for a name simulated above).
all_standins=" $(echo "$standins $optional" | tr ' \n' '\n\n' | sed 's/:.*//' | tr '\n' ' ') "
for applet in $("$busybox" --list); do
    case $applet in sh | ash | busybox) continue ;; esac
    case $all_standins in *" $applet "*) continue ;; esac
    [ -e "$root/bin/$applet" ] || ln -s busybox "$root/bin/$applet"
done

# --- devices, scenario files ------------------------------------------------------------------

# /dev/console is a plain file so that the daemon's console lines can be read;
# null, zero, random and urandom are bound to the host's devices when a session starts.
for d in console null zero random urandom; do : >"$root/dev/$d"; done

overlay() { # DIR: copy DIR/root over the router root and DIR/answers into /.sim/answers
    [ -d "$1/root" ] && cp -R "$1/root/." "$root/"
    [ -d "$1/answers" ] && cp -R "$1/answers/." "$root/.sim/answers/"
    return 0
}
overlay "$common"
overlay "$scen"
# A scenario may generate part of its router (large tables) with a `generate` script,
# run as `sh generate ROOT SIM_DIR` after the files above are in place.
if [ -f "$scen/generate" ]; then
    sh "$scen/generate" "$root" "$SIM_DIR" || die "the $(basename "$scen") generate script failed"
fi
[ -f "$root/etc/nvram.txt" ] || die "scenario has no root/etc/nvram.txt"
[ -f "$root/etc/hw_version" ] || die "scenario has no root/etc/hw_version"
: >"$root/.sim/commands.log"
echo "mkroot: $(basename "$scen") router in $root"
