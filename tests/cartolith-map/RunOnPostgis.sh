#!/usr/bin/env bash
# Runs PROGRAM on a table of the server that CARTOLITH_TEST_POSTGIS names, in an empty FOLDER: exit code, output, no
# password in it, and the picture.
#
#   scripts/lib/postgis RunOnPostgis.sh PROGRAM FOLDER
set -euo pipefail
program=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
export XDG_DATA_HOME=$folder/nowhere
unset CARTOLITH_LICENCE CARTOLITH_LICENCE_FILE
psql -q -X -o /dev/null -v ON_ERROR_STOP=1 -d "${CARTOLITH_TEST_POSTGIS#PG:}" <<'SQL'
CREATE SCHEMA "my town";
CREATE TABLE "my town"."wells" (id int PRIMARY KEY, depth numeric(30,12), dug timestamp, geom geometry(Point,4326));
INSERT INTO "my town"."wells" SELECT i, i + 0.123456789012, now(), ST_SetSRID(ST_Point(i, i), 4326)
    FROM generate_series(1, 20) i;
SQL
source="$CARTOLITH_TEST_POSTGIS password='ge heim'"
address="postgresql://cartolith:geheim@/cartolith?host=$(sed 's/.*host=\([^ ]*\).*/\1/; s,/,%2F,g' <<<"$CARTOLITH_TEST_POSTGIS")"
failures=0

# check <name> <exit code> <regular expression the output must match> <arguments>...
check() {
    local name=$1 wanted=$2 pattern=$3 code=0 output
    shift 3
    output=$("$program" "$@" 2>&1) || code=$?
    if [ "$code" != "$wanted" ] || ! tr '\n' ' ' <<<"$output" | grep -Eq -- "$pattern" ||
        grep -Eq "geheim|ge heim" <<<"$output"; then
        printf '%s: exit code %s instead of %s, or the output is not %s:\n%s\n' \
            "$name" "$code" "$wanted" "$pattern" "$output"
        failures=$((failures + 1))
    fi
}
check info 0 'password=.*\*\*\*.*20 features.*EPSG:4326.*depth' info "$source" --layer 'my town.wells'
check address 0 ':\*\*\*@.*20 features' info "$address" --layer 'my town.wells'
check render 0 '20 shapes in the visible extent.*depth=11\.12' \
    render "$source" --layer 'my town.wells' --crs EPSG:3857 --identify 11,11 -o wells.png
check no-layer 1 "there is no layer 'nowhere'" info "$source" --layer nowhere
check no-server 1 '\*\*\*' info "PG:host=$folder dbname=x password=geheim"
check bad-text 1 '\*\*\*' info "PG:dbname=x password=my geheim host=$folder"
check overviews 0 "20 features.*wells_overviews_0" overviews "$source" --layer "my town.wells"
[ -s wells.png ] || { echo "no picture"; failures=$((failures + 1)); }
[ "$(ls)" = wells.png ] || { echo "left behind:" *; failures=$((failures + 1)); }
exit $((failures > 0))
