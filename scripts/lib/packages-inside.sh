# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2016 # inner shells expand
# The test of the packages, as a service of a throw-away Debian system: /packages holds the packages, and
# /packages/before those of an earlier version. Run by scripts/test-packages.
set -euo pipefail

export PATH=/usr/sbin:/usr/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
packages=/packages
units=/lib/systemd/system
services=unix:/run/halden/bus.sock
failures=0 checks=0

step() { printf '\n== %s\n' "$*"; }
say() { printf '   %s\n' "$*"; }
# is WHAT COMMAND...: the command succeeds. isnt: it fails.
is() {
    local what=$1
    shift
    checks=$((checks + 1))
    if "$@" >/tmp/output 2>&1; then
        say "ok  $what"
    else
        failures=$((failures + 1))
        say "FAILED  $what: $*"
        sed 's/^/           /' /tmp/output
    fi
}
fails() { ! "$@"; }
isnt() { is "$1" fails "${@:2}"; }
# same WHAT WANTED FOUND
same() {
    is "$1" diff <(printf '%s\n' "$2") <(printf '%s\n' "$3")
}
# within COMMAND...: it succeeds within half a minute.
within() {
    local deadline=$((SECONDS + 30))
    until "$@"; do
        ((SECONDS < deadline)) || return 1
        sleep 0.1
    done
}
as() { setpriv --reuid "$1" --regid "$1" --init-groups -- "${@:2}"; } # USER COMMAND...
# restricted COMMAND: by a shell in the place of the daemon, under the daemon's own unit.
restricted() {
    printf '%s\n' "$1" >/packages/probe.sh
    sed -E -e 's,^ExecStart=.*,ExecStart=/bin/sh /packages/probe.sh,' -e 's/^Type=.*/Type=oneshot/' \
        -e '/^(Restart|RestartSec|WatchdogSec|NotifyAccess)=/d' "$units/ovo.service" >/run/systemd/system/probe.service
    systemctl daemon-reload && systemctl reset-failed probe 2>/dev/null
    systemctl start probe
}
show() { systemctl show --value -p "$2" "$1"; } # UNIT PROPERTY
has_state() { [[ $(show "$1" ActiveState) == "$2" ]]; }
log_of() { journalctl -q --no-pager -o cat -u "$1" --since "@$begin"; }
begin=$(date +%s)

version_of() { dpkg-query -W -f '${Version}' "$1"; }
state_of() { dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null || echo not-installed; }

# Owner, group, mode of everything that the packages bring or make: what docs/packages.md says.
laid_out() {
    find /run/halden /run/ovo /data /config /var/volatile /etc/ovo /etc/ovo.d /etc/default/ovo \
        -printf '%p %m %u:%g\n' | sort
}

test_install() {
    step "Install an earlier version"
    is "ovo and ovo-tools" dpkg -i "$packages"/before/ovo_*.deb "$packages"/before/ovo-tools_*.deb
    say "version $(version_of ovo)"
    same "user ovo: no shell, no further groups" "ovo /usr/sbin/nologin /var/lib/ovo ovo" \
        "$(getent passwd ovo | awk -F: '{ print $1, $7, $6 }') $(id -Gn ovo)"
    same "user ovo-bus: the same" "ovo-bus /usr/sbin/nologin ovo-bus" \
        "$(getent passwd ovo-bus | awk -F: '{ print $1, $7 }') $(id -Gn ovo-bus)"
    is "group halden" getent group halden
    # The daemon has started: store and bus are in use.
    same "owners and modes" "$(
        sort <<'END'
/config 755 root:root
/config/swupdate 755 ovo:ovo
/data 755 ovo:ovo
/data/certs 755 ovo:ovo
/data/certs/_storage 755 ovo:ovo
/data/certs/client 750 ovo:halden
/data/images 755 ovo:ovo
/data/properties.db 600 ovo:ovo
/data/properties.db-shm 600 ovo:ovo
/data/properties.db-wal 600 ovo:ovo
/etc/default/ovo 640 root:root
/etc/ovo 755 root:root
/etc/ovo.d 750 root:ovo
/etc/ovo/bus-daemon.acl 644 root:root
/etc/ovo/bus-services.acl 644 root:root
/etc/ovo/bus.conf 644 root:root
/run/halden 2755 ovo-bus:halden
/run/halden/bus.sock 770 ovo-bus:halden
/run/halden/prov-client.lock 600 ovo:ovo
/run/ovo 2750 ovo-bus:ovo
/run/ovo/bus.sock 770 ovo-bus:ovo
/var/volatile 755 root:root
/var/volatile/contacts 755 ovo:ovo
/var/volatile/provisioning 700 ovo:ovo
/var/volatile/provisioning/custom 775 ovo:ovo
/var/volatile/provisioning/firmware 775 ovo:ovo
/var/volatile/provisioning/nvm 775 ovo:ovo
/var/volatile/provisioning/provisioning 775 ovo:ovo
END
    )" "$(laid_out)"
    same "programs and units belong to root and are for all to read" "$(
        cat <<END
755 root:root /usr/sbin/ovo
644 root:root $units/ovo.service
644 root:root $units/ovo-bus.service
END
    )" "$(stat -c '%a %U:%G %n' /usr/sbin/ovo "$units"/ovo.service "$units"/ovo-bus.service)"
    for unit in ovo ovo-bus; do
        same "$unit.service is enabled and runs" "enabled active" \
            "$(systemctl is-enabled "$unit") $(show "$unit" ActiveState)"
    done
}

# moment UNIT PROPERTY: in microseconds.
moment() { date -d "$(systemctl show --timestamp=us+utc --value -p "$2" "$1")" +%s%6N; }

test_upgrade() {
    step "Upgrade"
    local users before bus lists=/etc/ovo/bus-services.acl replaced
    users=$(id ovo && id ovo-bus)
    before=$(show ovo MainPID)
    bus=$(show ovo-bus MainPID)
    # What the administrator has changed: one file that the new version changes too, one that it does not.
    echo 'HALDEN_LOG=1' >>/etc/default/ovo
    echo '# mine' >>"$lists"
    is "the earlier version came with another bus.conf" grep -qx '# before' /etc/ovo/bus.conf
    is "and another access list" grep -qx '# before' "$lists"
    isnt "ovo alone, beside tools that are older" dpkg -i "$packages"/ovo_*.deb
    isnt "ovo-tools alone, beside a daemon that is older" dpkg -i "$packages"/ovo-tools_*.deb
    same "changes nothing" "0.0.1 0.0.1 $before" "$(version_of ovo) $(version_of ovo-tools) $(show ovo MainPID)"
    is "ovo and ovo-tools" apt-get -q -y -o Dpkg::Options::=--force-confold install \
        "$packages"/ovo_*.deb "$packages"/ovo-tools_*.deb
    say "version $(version_of ovo)"
    is "the changed configuration file is kept" grep -qx 'HALDEN_LOG=1' /etc/default/ovo
    same "and its mode" "640 root:root" "$(stat -c '%a %U:%G' /etc/default/ovo)"
    isnt "no other is offered" test -e /etc/default/ovo.dpkg-dist
    isnt "the one that nobody has changed is the new one" grep -q 'before' /etc/ovo/bus.conf
    same "the one that both have changed is kept" "# before # mine" "$(tail -n 2 "$lists" | paste -sd ' ')"
    same "and the new one is beside it" "" "$(diff <(sed '/^# before$/d; /^# mine$/d' "$lists") "$lists.dpkg-dist")"
    replaced=$(stat -c %.6Z /usr/sbin/ovo)
    is "the daemon had ended when its program was replaced" \
        test "$(moment ovo InactiveEnterTimestamp)" -lt "${replaced/./}"
    is "and started afterwards" test "$(moment ovo InactiveExitTimestamp)" -gt "${replaced/./}"
    is "the bus too" test "$bus" != "$(show ovo-bus MainPID)" -a "$(show ovo-bus ActiveState)" = active
    is "before the daemon" test \
        "$(moment ovo-bus ActiveEnterTimestamp)" -lt "$(moment ovo InactiveExitTimestamp)"
    same "the users are the same" "$users" "$(id ovo && id ovo-bus)"
    is "the service runs again, anew" test "$before" != "$(show ovo MainPID)" -a "$(show ovo ActiveState)" = active
    same "the version of the program is that of the package" "ovo $(version_of ovo)" "$(ovo --version | head -n 1)"
}

test_units() {
    step "Units"
    is "systemd-analyze verify has nothing to say" sh -c \
        'systemd-analyze verify --man=no ovo.service ovo-bus.service 2>&1 | { ! grep .; }'
    local unit
    for unit in ovo ovo-bus; do
        is "$unit.service: exposure at most 1.5 ($(systemd-analyze security --offline=true --no-pager \
            "$unit.service" | sed -n 's/.*exposure level for [^:]*: //p'))" \
            systemd-analyze security --offline=true --threshold=15 "$unit.service"
    done
}

# Files of version 0.1.0, which ran as root: the changelog says what to do with them.
take_over() {
    local before command
    command=$(sed -n 's/^ *`\(chown -R ovo:ovo [^`]*\)`.*/\1/p' "$packages/CHANGELOG.md")
    isnt "the changelog says what to do with files of root" test -z "$command"
    touch /data/images/wallpaper.png /data/certs/client/client.pem /config/swupdate/image /var/volatile/contacts/contacts.xml
    chown -R ovo:ovo /data /config/swupdate /var/volatile/contacts
    systemd-tmpfiles --create ovo.conf
    before=$(laid_out)
    find /data /config/swupdate /var/volatile/contacts ! -type d -exec chown root:root {} +
    sh -c "$command" && systemd-tmpfiles --create ovo.conf
    same "then they are the daemon's" "$before" "$(laid_out)"
    rm -f /data/images/wallpaper.png /data/certs/client/client.pem /config/swupdate/image /var/volatile/contacts/contacts.xml
}

# What the maker and the factory put on a phone, and a server with files for it.
make_phone() {
    port=$((20000 + RANDOM % 12000))
    echo 7.1.0 >/etc/firmware-version
    printf '{"%s": "7", "%s": "60"}\n' networking.provisioning.MajorId ui.security.CredentialRequestTimeout \
        >/etc/phoneconfig.json
    ovoctl keygen /etc/ovo.d/key
    systemd-tmpfiles --create ovo.conf
    same "the key is for the daemon only" "400 ovo:ovo" "$(stat -c '%a %U:%G' /etc/ovo.d/key)"
    systemctl stop ovo
    take_over
    # A phone fresh from the factory: root is the first to write a property.
    rm -f /data/properties.db*
    systemd-tmpfiles --create ovo.conf
    # It makes room, and says as whom.
    cat >/usr/sbin/firmware-update-cleanup.sh <<'END'
#!/bin/sh
rm -f /config/swupdate/*.bin
{ id -un; grep CapEff /proc/self/status; touch /etc/ssl/certs/mine 2>&1; } >/config/swupdate/cleaned
END
    chmod 755 /usr/sbin/firmware-update-cleanup.sh
    mkdir -p /www
    serve() { openssl enc -aes-128-cbc -pbkdf2 -pass file:/etc/ovo.d/key -out "/www/$1"; }
    serve phone.xml <<END
<provisioning version="1.1">
  <category type="firmware" url="/firmware.xml"/>
  <category type="nvm" url="/nvm.xml"/>
  <category type="custom" url="/custom.xml"/>
</provisioning>
END
    serve firmware.xml <<<'<firmware version="1.1"><file version="7.2.0" url="/phone-7.2.0.bin"/></firmware>'
    serve nvm.xml <<<'<nvm version="1.1"><settings><param name="Time.Zone" value="Europe/Berlin"/></settings></nvm>'
    serve custom.xml <<'END'
<custom version="1.1">
  <scenario>
    <step type="DownloadWallpaper" url="/wallpaper.png"/>
    <step type="LocalPhoneBook" url="/contacts.xml"/>
  </scenario>
</custom>
END
    head -c 100000 /dev/urandom >/www/phone-7.2.0.bin
    head -c 2000 /dev/urandom >/www/wallpaper.png
    echo '<contacts><contact name="Ada"/></contacts>' >/www/contacts.xml
    cat >/etc/nginx/nginx.conf <<END
daemon off;
pid /run/nginx.pid;
events {}
http { access_log off; server { listen 127.0.0.1:$port; root /www; } }
END
    # A name that the resolver has to look up.
    echo '127.0.0.1 localhost prov.example.test' >/etc/hosts
    touch /config/swupdate/old.bin
    chown ovo: /config/swupdate/old.bin
    ovoctl property set NET.MAC.Address=02:00:5E:10:00:01 Time.Zone=UTC \
        System.Provision.ProvisioningServer="http://prov.example.test:$port/phone.xml" \
        System.Provision.FactoryAuthUsername=phone System.Provision.FactoryAuthPassword=secret \
        FirmwareManagment.AutomaticCheckForUpdates=1 >/dev/null
    same "root's writes leave the store to the daemon" "600 ovo:ovo" "$(stat -c '%a %U:%G' /data/properties.db)"
}

property() { [[ $(ovoctl property get "$1") == "$2" ]]; }

test_service() {
    step "The service, from nginx through mosquitto, with the restrictions of its units"
    make_phone
    nginx -e stderr >/tmp/nginx.log 2>&1 &
    mosquitto_sub --unix /run/ovo/bus.sock -V 5 -t '#' -F '%t %p' >/tmp/heard-by-root 2>&1 &
    is "systemctl start waits until the daemon is ready" systemctl start ovo
    daemon=$(show ovo MainPID)
    phone-simulator run >/tmp/simulator.log 2>&1 &
    simulator=$!
    is "the run at boot is done" within property State.Provisioning.OnBootUp "done"
    same "with success" success "$(ovoctl property get State.Provisioning)"
    ovoctl report | sed 's/^/   report | /' || true
    same "the parameter is set" Europe/Berlin "$(ovoctl property get Time.Zone)"
    is "the wallpaper is there, for all to read" as outsider cmp /www/wallpaper.png /data/images/wallpaper.png
    is "the phone book too" as outsider cmp /www/contacts.xml /var/volatile/contacts/contacts.xml
    is "the firmware image too" as outsider cmp /www/phone-7.2.0.bin /config/swupdate/phone-7.2.0.bin
    isnt "the clean-up script has removed the old image" test -e /config/swupdate/old.bin
    is "as the daemon's user" grep -qx ovo /config/swupdate/cleaned
    is "without capabilities" grep -qx 'CapEff:	0000000000000000' /config/swupdate/cleaned
    is "and cannot write certificates" grep -q 'Read-only file system' /config/swupdate/cleaned
    same "its threads have the user, no capabilities, no new privileges, a filter" "$(
        cat <<END
CapAmb: 0000000000000000
CapBnd: 0000000000000000
CapEff: 0000000000000000
CapInh: 0000000000000000
CapPrm: 0000000000000000
Gid: $(id -g ovo) $(id -g ovo) $(id -g ovo) $(id -g ovo)
Groups: $(id -g ovo)
NoNewPrivs: 1
Seccomp: 2
Uid: $(id -u ovo) $(id -u ovo) $(id -u ovo) $(id -u ovo)
Umask: 0022
END
    )" "$(grep -hE '^(Cap|Gid|Uid|Groups|NoNewPrivs|Seccomp:|Umask)' "/proc/$daemon"/task/*/status |
        sed -E 's/[[:space:]]+/ /g; s/ $//' | sort -u)"
}

test_restrictions() {
    step "What the restrictions refuse"
    # Devices, /proc and the journal's sockets are the manager's affair.
    same "what is not read-only is not executable, and is this" "$(
        sort <<'END'
/config/swupdate noexec
/data noexec
/run/halden/prov-client.lock
/tmp noexec
/var/lib/ovo noexec
/var/tmp noexec
/var/volatile/contacts noexec
/var/volatile/provisioning noexec
END
    )" "$(awk '$5 !~ "^/(dev|proc|sys)(/|$)" { flags[$5] = $6 }
        END { for (path in flags) if (flags[path] ~ "^rw") print path (flags[path] ~ "noexec" ? " noexec" : "") }' \
        "/proc/$daemon/mountinfo" | sort)"
    isnt "write the system" restricted 'echo x >/usr/x'
    isnt "write the configuration" restricted 'echo x >/etc/ovo.d/x'
    isnt "write trusted certificates" restricted 'echo x >/etc/ssl/certs/x'
    isnt "put a socket beside the broker's" restricted 'echo x >/run/halden/x'
    isnt "write another's firmware directory" restricted 'echo x >/config/x'
    is "but its own directories" restricted 'for d in /data /data/images /data/certs /config/swupdate \
        /var/volatile/provisioning /var/volatile/contacts /var/lib/ovo /tmp; do echo x >$d/x && rm $d/x || exit 1; done'
    isnt "execute what was fetched" restricted 'cp /bin/true /data/true && exec /data/true'
    rm -f /data/true
    isnt "see the homes" restricted "ls $(getent passwd root | cut -d: -f6)"
    isnt "see a device" restricted 'ls /dev/kmsg /dev/mem'
    touch /tmp/mark
    isnt "see others' temporary files" restricted 'test -e /tmp/mark'
    isnt "make a name space" restricted 'unshare -U true'
    isnt "make a program that runs as its owner" restricted 'cp /bin/true /data/x && chmod u+s /data/x'
    rm -f /data/x
    isnt "become root" restricted 'setpriv --reuid 0 true'
    isnt "set the clock" restricted 'date -s 2026-01-01'
}

# What nobody else may read, and a user who is in no group that matters.
test_outsider() {
    step "An unprivileged user"
    local file
    for file in /data/properties.db /data/properties.db-wal /etc/ovo.d/key /etc/default/ovo /var/volatile/provisioning \
        /var/lib/ovo /data/certs/client /run/halden/prov-client.lock "/proc/$daemon/environ" "/proc/$daemon/mem"; do
        is "$file is there" test -e "$file"
        isnt "and cannot be read" as outsider sh -c 'if [ -d "$1" ]; then ls "$1"; else head -c 1 "$1"; fi' - "$file"
    done
    isnt "the store cannot be read with its client" as outsider ovoctl property list
    for socket in /run/halden/bus.sock /run/ovo/bus.sock; do
        isnt "$socket takes no connection" as outsider mosquitto_pub --unix "$socket" -t auto-reboot/prov-client -m x
    done
}

# publish SOCKET TOPIC TEXT [OPTION...]: as the test's user of that group.
heard() { grep -qF -- "$1" /tmp/heard-by-root; }
mark() { echo "mark-$RANDOM$RANDOM"; }

# A message that comes after all others: what was not heard before it was refused.
flush() {
    local last
    last=$(mark)
    mosquitto_pub --unix /run/ovo/bus.sock -V 5 -q 1 -t prov-client/monitor -m "$last"
    within heard "$last"
}

# listen OPTION...: a member's client, which takes the place of the shell: a signal to that shell breaks the connection.
listen() {
    exec setpriv --reuid member --regid member --init-groups -- \
        mosquitto_sub --unix /run/halden/bus.sock -V 5 "$@" >/tmp/member-hears 2>&1
}

# lose_member TOPIC: a member's connection breaks; its last will for that topic is $text.
lose_member() {
    local member greeting
    text=$(mark)
    listen -t 'prov-client/#' --will-topic "$1" --will-payload "$text" &
    member=$!
    greeting=$(mark)
    is "hears what the daemon says" within sh -c \
        "mosquitto_pub --unix /run/ovo/bus.sock -q 1 -t prov-client/monitor -m $greeting; grep -q $greeting /tmp/member-hears"
    kill -9 "$member"
    wait "$member" 2>/dev/null || true
}

test_member() {
    step "A member of halden"
    local topic text
    for topic in auto-reboot watchdog sip-client netmgr phone-ui; do
        text=$(mark)
        is "may publish on $topic/prov-client" as member mosquitto_pub --unix /run/halden/bus.sock -V 5 -q 1 \
            -t "$topic/prov-client" -m "$text"
        is "and the daemon's side hears it" within heard "$text"
    done
    for topic in prov-client/sip-client prov-client/monitor prov-client prov-client/a/b '$SYS/broker/x' elsewhere/x; do
        for version in 5 311; do
            text=$(mark)
            as member mosquitto_pub --unix /run/halden/bus.sock -V "$version" -q 1 -t "$topic" -m "$text" \
                >/tmp/told 2>&1 || true
            [[ $version == 311 ]] ||
                is "is told that $topic is not for it" grep -q 'Not authorized' /tmp/told
            flush
            isnt "and nobody hears that (MQTT $version)" heard "$text"
        done
    done
    lose_member phone-ui/prov-client
    is "has a last will where it may publish" within heard "$text"
    lose_member prov-client/sip-client
    flush
    isnt "and none on the daemon's topics" heard "$text"
    text=$(mark)
    listen -t '#' -t 'phone-ui/prov-client' -F '%t %p' &
    local subscriber=$!
    is "listens to everything" within sh -c \
        "mosquitto_pub --unix /run/ovo/bus.sock -q 1 -t prov-client/monitor -m $text-1; grep -q $text-1 /tmp/member-hears"
    as member mosquitto_pub --unix /run/halden/bus.sock -V 5 -q 1 -t phone-ui/prov-client -m "$text-2"
    mosquitto_pub --unix /run/ovo/bus.sock -q 1 -t prov-client/monitor -m "$text-3"
    within grep -q "$text-3" /tmp/member-hears
    isnt "and does not hear what others tell the daemon, passwords among it" grep -q "$text-2" /tmp/member-hears
    kill $subscriber
    isnt "cannot open the daemon's lock, and so cannot hold it" as member sh -c ': <"$1"' - /run/halden/prov-client.lock
    isnt "gets no connection where the daemon has its own" as member mosquitto_pub --unix /run/ovo/bus.sock \
        -t prov-client/monitor -m x
    text=$(mark)
    mosquitto_pub --unix /run/ovo/bus.sock -V 5 -q 1 -t netmgr/prov-client -m "$text"
    flush
    isnt "the daemon's side cannot speak for others" heard "$text"
    isnt "cannot read the store" as member ovoctl property list

    step "Tools"
    is "a member asks the daemon" as member env HALDEN_BUS=$services ovoctl bus request watchdog/prov-client AreYouBusy
    is "root too" ovoctl bus request watchdog/prov-client AreYouBusy
    is "root starts a run and follows it" ovoctl run "http://prov.example.test:$port/nvm.xml"
    ovoctl doctor >/tmp/doctor 2>&1 || true
    sed 's/^/   doctor | /' /tmp/doctor
    is "the doctor finds daemon and broker" sh -c 'grep -q "ok .*daemon" /tmp/doctor && grep -q "ok .*broker" /tmp/doctor'
}

# with SETTING...: the service with these settings instead of its own.
with() {
    mkdir -p /run/systemd/system/ovo.service.d
    printf '[Service]\n' >/run/systemd/system/ovo.service.d/test.conf
    printf '%s\n' "$@" >>/run/systemd/system/ovo.service.d/test.conf
    systemctl daemon-reload
    systemctl stop ovo
    systemctl reset-failed ovo 2>/dev/null || true
}
# signal SIGNAL UNIT: to its process.
signal() {
    local process
    process=$(show "$2" MainPID)
    ((process > 0)) && kill "-$1" "$process"
}
# The journal looks up the unit of a process that may have ended by then: its name is in what it has sent.
last_words() { journalctl --sync && journalctl -q --no-pager -o cat -t ovo --since "@$begin"; }
is_restarted() { [[ $(show ovo NRestarts) == "$1" && $(show ovo ActiveState) == active ]]; }

test_ends() {
    step "Ends"
    isnt "no line of level 3 so far" sh -c "journalctl -q -o cat -p err -u ovo --since @$begin | grep ."
    isnt "no message was refused by the broker" sh -c "journalctl -q -o cat -u ovo --since @$begin | grep 'refused by the broker'"
    same "stopped: ends in order and stays away" "success inactive" \
        "$(systemctl stop ovo && echo "$(show ovo Result) $(show ovo ActiveState)")"
    # The pause between two starts is all that is changed.
    with RestartSec=100ms
    systemctl start ovo
    is "SIGTERM" signal TERM ovo
    is "told to end by somebody else: starts again" within is_restarted 1
    is "SIGSEGV" signal SEGV ovo
    is "crashed: starts again" within is_restarted 2
    is "SIGKILL" signal KILL ovo
    is "killed: starts again" within is_restarted 3

    with RestartSec=100ms WatchdogSec=2
    systemctl start ovo
    is "fed: the watchdog is content" sleep 5
    same "with it" 0 "$(show ovo NRestarts)"
    is "SIGSTOP" signal STOP ovo
    is "stuck: the watchdog ends it, and it starts again" within is_restarted 1

    with RestartSec=100ms
    setpriv --reuid ovo --regid ovo --init-groups env HALDEN_BUS=unix:/run/ovo/bus.sock ovo 2>/tmp/other.log &
    local other=$!
    within grep -q 'is ready' /tmp/other.log
    isnt "another process serves: the start fails" systemctl start ovo
    is "and is given up" within sh -c \
        "journalctl -q -o cat -u ovo --since @$begin | grep -q 'Start request repeated too quickly'"
    is "for good" has_state ovo failed
    same "after five starts that were never ready, for that reason" "protocol 5" \
        "$(show ovo Result) $(last_words | grep -c 'serves as prov-client already')"
    is "the other one serves undisturbed" kill -0 "$other"
    kill "$other"
    wait "$other" || true
    systemctl reset-failed ovo
    is "started again once that has ended" systemctl start ovo

    with RestartSec=100ms ExecStart= 'ExecStart=/usr/sbin/ovo --nonsense'
    isnt "a wrong argument: the start fails" systemctl start ovo
    same "once" "exit-code 2 0" "$(show ovo Result) $(show ovo ExecMainStatus) $(show ovo NRestarts)"

    # What is in the way of the store is there again after a while. The simulated services, which have it open, would
    # make another one.
    with RestartSec=1s
    kill -STOP "$simulator"
    mv /data/properties.db /data/kept
    mkdir /data/properties.db
    systemctl start --no-block ovo
    is "the store cannot be opened: the start fails, with a line" within sh -c \
        "journalctl -q -o cat -p err -u ovo --since @$begin | grep -q 'properties.db'"
    rmdir /data/properties.db
    mv /data/kept /data/properties.db
    kill -CONT "$simulator"
    is "the cause has passed: it serves" within has_state ovo active

    rm -r /run/systemd/system/ovo.service.d
    systemctl daemon-reload
    systemctl restart ovo
    local process
    process=$(show ovo MainPID)
    is "SIGKILL to the broker" signal KILL ovo-bus
    is "the broker comes back" within is_back
    is "and the daemon to it" within sh -c '[ "$(journalctl -q -o cat -u ovo -n 1 -g "Bus (connected|away)" | grep -c connected)" = 1 ]'
    same "which was not started again for that" "$process" "$(show ovo MainPID)"
    systemctl stop ovo-bus
    isnt "stopped, the broker takes its sockets with it" test -e /run/halden/bus.sock -o -e /run/ovo/bus.sock
    is "the daemon runs on" has_state ovo active
    is "and is wanted no less without: it starts without a broker" sh -c \
        'systemctl mask --runtime ovo-bus && systemctl restart ovo && systemctl unmask --runtime ovo-bus'
}
is_back() { [[ -S /run/halden/bus.sock ]] && has_state ovo-bus active; }

test_remove() {
    step "Remove and purge"
    systemctl start ovo
    is "remove" apt-get -q -y remove ovo ovo-tools
    isnt "the service has ended" test -e "/proc/$(cat /run/halden/prov-client.lock)"
    same "the configuration stays" config-files "$(state_of ovo)"
    for file in /usr/sbin/ovo "$units/ovo.service" /usr/lib/tmpfiles.d/ovo.conf; do
        isnt "$file is gone" test -e "$file"
    done
    for file in /etc/default/ovo /etc/ovo/bus.conf /data/properties.db /etc/ovo.d/key /var/lib/ovo; do
        is "$file stays" test -e "$file"
    done
    # A phone below a root of its own, in the home of the daemon's user.
    local home=/var/lib/ovo
    mkdir -p "$home"/{data/certs/client,data/images,etc/ovo.d,var/volatile/provisioning/nvm}
    touch "$home"/{data/properties.db,data/certs/client/user_key.pem,etc/ovo.d/key,var/volatile/provisioning/nvm/nvm.xml}
    chown -R ovo: "$home"
    cp /var/lib/dpkg/info/ovo.postrm /tmp/postrm
    is "purge" apt-get -q -y purge ovo ovo-tools
    same "what the phone below $home has made stays" "$(
        cat <<END
$home/data/certs/client/user_key.pem
$home/data/properties.db
$home/etc/ovo.d/key
END
    )" "$(find "$home" ! -type d | sort)"
    isnt "decrypted files and empty directories do not" test -e "$home/var" -o -e "$home/data/images"
    # Whoever the daemon obeyed may have put links there.
    mkdir -p /elsewhere/volatile/provisioning
    touch /elsewhere/volatile/provisioning/file
    rm -rf "$home/var"
    ln -s /elsewhere "$home/var"
    is "purge again" /tmp/postrm purge ovo
    is "where a link leads everything stays" test -e /elsewhere/volatile/provisioning/file
    rm -r "$home"
    mkdir "$home"
    is "and again, of an empty home" /tmp/postrm purge ovo
    isnt "which is gone" test -e "$home"
    same "nothing of the package is known" not-installed "$(state_of ovo)"
    for file in /etc/default/ovo /etc/ovo /var/volatile/provisioning /run/ovo /run/halden \
        /etc/systemd/system/multi-user.target.wants/ovo.service; do
        isnt "$file is gone" test -e "$file"
    done
    for file in /data/properties.db /data/images/wallpaper.png /config/swupdate/phone-7.2.0.bin /etc/ovo.d/key; do
        is "$file, which is the phone's, stays" test -e "$file"
    done
}

useradd outsider
groupadd -f -r halden
useradd -G halden member
test_install
test_upgrade
test_units
test_service
test_restrictions
test_outsider
test_member
test_ends
test_remove
echo
echo "$checks checks, $failures failed"
((failures == 0))
