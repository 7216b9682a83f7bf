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
code=0; "$program" shwo || code=$?; [ $code = 2 ]
