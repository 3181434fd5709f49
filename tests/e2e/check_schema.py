#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Checks a JSON document on standard input against the schema that it names.

    check_schema.py SCHEMA-FOLDER

Exits with 1 and names the mismatch if the document does not fit."""

import json
import os
import sys

import jsonschema


def main(folder):
    document = json.load(sys.stdin)
    name = document["schema"].split(".")[1].split("/")[0]
    with open(
        os.path.join(folder, name + ".schema.json"), encoding="utf-8"
    ) as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    jsonschema.Draft202012Validator(schema).validate(document)


if __name__ == "__main__":
    try:
        main(sys.argv[1])
    except (jsonschema.ValidationError, KeyError, ValueError) as e:
        sys.exit(str(e))
