# A change of keys from one end to the other: drill.sh PROGRAM FOLDER
program=$1
rm -rf "$2"
mkdir -p "$2/home"
cd "$2"
export XDG_DATA_HOME="$2/home" CARTOLITH_LICENCE_OFFLINE=1
unset CARTOLITH_LICENCE CARTOLITH_LICENCE_FILE CARTOLITH_LICENCE_SERVER

fails() { ! "$@" || { echo "should have failed: $*"; exit 1; }; }

"$program" make-keys 2026 --private 2026.private --public keys.txt
"$program" make-keys 2027 --private 2027.private --public keys.txt
[ "$(stat -c %a 2026.private)" = 600 ]
fails "$program" make-keys 2027 --private 2027.private --public keys.txt
cat >payload.json <<'PAYLOAD'
{"product": "cartolith", "id": "L-7", "serial": 1, "holder": "Survey Office", "issued": "2026-01-01T00:00:00Z",
 "notBefore": "2026-01-01T00:00:00Z", "expires": "never", "features": ["output.unmarked"]}
PAYLOAD
"$program" sign --private 2026.private --payload payload.json -o old.json
"$program" sign --private 2027.private --payload payload.json -o new.json
"$program" verify old.json --keys keys.txt | grep -q "permits    output.unmarked"
"$program" verify new.json --keys keys.txt
fails "$program" verify old.json # the build does not know these keys
sed 's/^2026 .*/2026 revoked/' keys.txt >later.txt
"$program" verify old.json --keys later.txt | grep -q "key that signed the licence was withdrawn"
"$program" verify new.json --keys later.txt
echo '{"product": "cartolith"}' >broken.json
fails "$program" sign --private 2027.private --payload broken.json -o no.json
[ ! -e no.json ]
fails "$program" install old.json
"$program" revoke L-7 --serial 2 --private 2027.private -o revocation.json
"$program" request activate --code ABC --print | grep -q '"code": "ABC"'
fails "$program" request activate --code ABC # offline
fails "$program" request refresh --print
"$program" show | grep -q "state      missing"

# What goes wrong while typing: exit code 2, or 1 and nothing written.
usage() { code=0; "$@" || code=$?; [ $code = 2 ] || { echo "no wrong usage: $*"; exit 1; }; }
usage "$program" shwo
usage "$program" verify
usage "$program" make-keys "20 28" --private 2028.private --public keys.txt
usage "$program" make-keys 2028 --private keys.txt --public ./keys.txt
before=$(cat 2026.private)
fails "$program" make-keys 2028 --private 2026.private --public keys.txt
[ "$(cat 2026.private)" = "$before" ]
fails "$program" make-keys 2028 --private 2028.private --public /proc/keys.txt
[ ! -e 2028.private ]
printf '2025 revoked' >short.txt # an editor that ends no line
fails "$program" make-keys 2025 --private 2025.private --public short.txt
"$program" make-keys 2028 --private 2028.private --public short.txt
[ "$(wc -l <short.txt)" = 2 ]
fails "$program" revoke L-7 --serial 9007199254740992 --private 2027.private -o no.json
sed 's/"issued": "2026/"issued": "2999/' payload.json >future.json
fails "$program" sign --private 2027.private --payload future.json -o no.json
sed "s/Survey/$(head -c 50000 /dev/zero | tr '\0' x)/" payload.json >large.json
fails "$program" sign --private 2027.private --payload large.json -o no.json
[ ! -e no.json ]
mkfifo pipe
fails "$program" verify pipe --keys keys.txt
