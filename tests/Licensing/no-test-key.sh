# Fails when one of the programs has the key: no-test-key.sh KEY FILE-THAT-HAS-IT PROGRAM...
key=$1
grep -qaF "$key" "$2" || { echo "the key is not even in $2"; exit 1; }
shift 2
for program; do
    [ -r "$program" ] || { echo "there is no $program"; exit 1; }
    if grep -qaF "$key" "$program"; then
        echo "$program trusts the test key"
        exit 1
    fi
done
