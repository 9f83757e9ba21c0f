"""Holds answers of zrpctl against its schema.

    validate.py SCHEMA <ANSWERS

Each line of the input is an answer. Prints what is wrong with it.
"""

import json
import sys

from jsonschema import Draft202012Validator

with open(sys.argv[1], encoding="utf-8") as file:
    schema = json.load(file)
Draft202012Validator.check_schema(schema)
validator = Draft202012Validator(schema)

wrong = 0
for line in sys.stdin:
    for error in validator.iter_errors(json.loads(line)):
        wrong += 1
        print(f"{error.json_path}: {error.message}: {line.strip()[:200]}")
sys.exit(1 if wrong else 0)
