#!/usr/bin/env bash
# Builds kytfold and kytadm, folds the shipped sample files, showing the lines it writes, then
# makes a station database from the shipped station and routing tables and hands it a file
# to send.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh" --linux-only
cmake -S "$root" -B "$root/out/release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKYT_TESTS=OFF >/dev/null
cmake --build "$root/out/release" --target kytfold kytadm
kytfold=$root/out/release/tools/kytfold
demo=$root/out/demo
mkdir -p "$demo"

echo "== fixed records of 80 bytes: samples/fixed80.dat"
"$kytfold" -w 80 -i "$root/samples/fixed80.dat" -o "$demo/fixed80.txt"
echo "exit code $?; $(wc -l <"$demo/fixed80.txt") lines in out/demo/fixed80.txt (CR LF shown as \$):"
sed 's/\r$/$/' "$demo/fixed80.txt"

echo
echo "== variable records with length words: samples/variable.dat"
"$kytfold" -v -i "$root/samples/variable.dat" -o "$demo/variable.txt"
echo "exit code $?; $(wc -l <"$demo/variable.txt") lines in out/demo/variable.txt (CR LF shown as \$):"
sed 's/\r$/$/' "$demo/variable.txt"

echo
echo "== a station: database, the station tables of samples/, a file to send"
station=$demo/station
rm -rf "$station" && mkdir -p "$station"
cd "$station"
printf 'DB=%s/db\nINIT=%s/init\nLANGUAGE=E\n' "$station" "$station" >kytenv.dat
# The initial command file (DSN_MON_INIT) names the station, as at an installation.
mkdir -p init && printf 'setparm LID=KYTHUB\n' >init/rdmini.dat
kytadm=$root/out/release/tools/kytadm
"$kytadm" initdb
"$kytadm" import stations "$root/samples/stations.txt" | tail -1
"$kytadm" import routes "$root/samples/routes.txt" | tail -1
"$kytadm" stations
printf 'UNB+UNOA:1+KYTHUB+AUTOWERK\n' >invoice.edi
"$kytadm" cmd "SEND /CREATE DSN=\"$station/invoice.edi\" (SID=AUTOWERK)"
"$kytadm" sends
"$kytadm" dump station.dump | tail -1
echo "the station is in out/demo/station (kytenv.dat, db/, station.dump)"
