"""Checks JSON documents: check_schema.py SCHEMA FOLDER; each NAME.N.json must be as the schema's NAME says."""
import json
import pathlib
import sys

import jsonschema

schema = json.loads(pathlib.Path(sys.argv[1]).read_text())
jsonschema.Draft202012Validator.check_schema(schema)
documents = sorted(pathlib.Path(sys.argv[2]).glob("*.json"))
if not documents:
    sys.exit("there are no documents")
failed = False
for document in documents:
    one = {"$schema": schema["$schema"], "$ref": "#/$defs/" + document.name.split(".")[0], "$defs": schema["$defs"]}
    for error in jsonschema.Draft202012Validator(one).iter_errors(json.loads(document.read_text())):
        failed = True
        print(document.name, error.json_path, error.message)
sys.exit(failed)
