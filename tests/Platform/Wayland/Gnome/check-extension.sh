#!/bin/sh
# Checks GNOME Shell extensions as built (see cmake/GnomeShellExtension.cmake), without a Shell:
# each JavaScript file parses in the format its variant is loaded as (node --check; gjs -c would
# run a string, not check a file), metadata.json is JSON naming its folder as uuid and the
# Shell versions of its format, and the D-Bus interface files are well-formed XML.
# Usage: check-extension.sh <dir with script/ and module/>...
failed=0
checked=0
log=$(mktemp)
fail() {
    echo "FAILED: $*"
    failed=$((failed + 1))
}
for root in "$@"; do
    for format in script module; do
        case $format in
            script) input=commonjs shells='["43", "44"]' ;;
            module) input=module shells='["45", "46", "47", "48"]' ;;
        esac
        found=0
        for dir in "$root/$format"/*; do
            [ -d "$dir" ] || continue
            found=1
            uuid=$(basename "$dir")
            for js in "$dir"/*.js; do
                node --input-type=$input --check < "$js" 2> "$log" ||
                    fail "$js does not parse as a $format: $(grep -m1 -E '^[A-Za-z]*Error' "$log")"
                checked=$((checked + 1))
            done
            node -e '
                const [file, uuid, shells] = process.argv.slice(1);
                const meta = JSON.parse(require("fs").readFileSync(file, "utf8"));
                if (meta.uuid !== uuid) throw new Error(`uuid ${meta.uuid} is not the folder name ${uuid}`);
                if (JSON.stringify(meta["shell-version"]) !== JSON.stringify(JSON.parse(shells)))
                    throw new Error(`shell-version ${meta["shell-version"]} is not ${shells}`);
                for (const key of ["name", "description", "version-name"])
                    if (typeof meta[key] !== "string" || meta[key] === "") throw new Error(`no ${key}`);
            ' "$dir/metadata.json" "$uuid" "$shells" 2> "$log" ||
                fail "$dir/metadata.json: $(grep -m1 -E '^[A-Za-z]*Error' "$log")"
            checked=$((checked + 1))
            for xml in "$dir"/*.xml; do
                [ -f "$xml" ] || continue
                python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' "$xml" 2> /dev/null ||
                    fail "$xml is not well-formed"
                checked=$((checked + 1))
            done
        done
        [ $found = 1 ] || fail "no $format variant under $root"
    done
done
rm -f "$log"
echo "$((checked - failed)) passed, $failed failed"
[ $failed = 0 ]
