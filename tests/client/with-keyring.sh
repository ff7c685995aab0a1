#!/bin/sh
# Runs a command with an unlocked gnome-keyring serving the Secret Service on this
# D-Bus session (started by dbus-run-session). HOME is private so no real keyring is touched.
set -e
HOME=$(mktemp -d)
export HOME XDG_DATA_HOME="$HOME/.local/share"
eval "$(printf 'velmora-test\n' | gnome-keyring-daemon --unlock --components=secrets)"
export GNOME_KEYRING_CONTROL
"$@"
status=$?
rm -rf "$HOME"
exit $status
