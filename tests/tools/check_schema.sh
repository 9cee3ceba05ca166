#!/usr/bin/env bash
# The schema `mediastores-config schema` prints, judged by a real JSON Schema validator (Debian's
# python3-jsonschema): it is a valid draft 2020-12 schema; it takes each document of
# config_documents.tsv exactly when `check` does; its groups are the ones `check` names, and the
# Feature group's known keys the ones `toggles` lists, in order, each with a description.
# Usage: check_schema.sh MEDIASTORES_CONFIG DOCUMENTS_TSV
set -euo pipefail
tool=$1
documents=$2
python=python3
if /usr/bin/python3 -c 'import jsonschema' 2>/dev/null; then python=/usr/bin/python3; fi

exec "$python" - "$tool" "$documents" <<'EOF'
import json, subprocess, sys
try:
    import jsonschema
except ImportError:
    sys.exit("python3-jsonschema is missing: run scripts/install-deps.sh")

tool, documents = sys.argv[1], sys.argv[2]
run = lambda *args, text="": subprocess.run([tool, *args], input=text, capture_output=True,
                                            text=True)
printed = run("schema")
assert printed.returncode == 0, printed.stderr
schema = json.loads(printed.stdout)
assert schema["$schema"] == "https://json-schema.org/draft/2020-12/schema"
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
failures = 0
for row in open(documents, encoding="utf-8"):
    if row.startswith("#"):
        continue
    document = row.rstrip("\n").split("\t", 2)[2]
    checked = run("check", "-", text=document).returncode == 0
    errors = [e.message for e in validator.iter_errors(json.loads(document))]
    agree = checked == (not errors)
    failures += not agree
    print("%s  check %s, schema %s  %s" % ("ok  " if agree else "FAIL",
          "takes" if checked else "refuses", "takes" if not errors else "refuses: " + errors[0],
          document))
# The valid group names, as check lists them for an unknown one.
refused = run("check", "-", text='{"NoSuchGroup": []}').stderr
listed = refused.split("valid names: ")[1].split("\n")[0].split(", ")
groups = list(schema["properties"])
toggles = [line.split()[1] for line in run("toggles").stdout.splitlines()]
# The known keys of the Feature group's entries.
ref = lambda node: schema["$defs"][node["$ref"].rsplit("/", 1)[1]]
key = ref(ref(schema["properties"]["Feature"])["items"])["properties"]["key"]
known = ref(key["anyOf"][0])["anyOf"]
for what, ok in [("groups %s" % groups, groups == listed),
                 ("%d toggle keys, each described" % len(known),
                  [k["const"] for k in known] == toggles and all(k["description"] for k in known))]:
    failures += not ok
    print("%s  schema and tool agree on the %s" % ("ok  " if ok else "FAIL", what))
sys.exit(1 if failures else 0)
EOF
