"""Holds the tool's JSON against the schemas that are shipped with it."""

import copy
import json
import os

import jsonschema

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "share", "schema")
WITH_VALUE = ("--registry", "--hardware", "--timeout")


def load():
    """{file name: schema}"""
    schemas = {}
    for name in os.listdir(FOLDER):
        with open(os.path.join(FOLDER, name), encoding="utf-8") as file:
            schemas[name] = json.load(file)
        jsonschema.Draft202012Validator.check_schema(schemas[name])
    return schemas


def closed(schema, chosen, top=True):
    """A schema that takes no member which it does not name. chosen: of columns, any may be missing."""
    if isinstance(schema, list):
        return [closed(item, chosen, top) for item in schema]
    if not isinstance(schema, dict):
        return schema
    schema = {name: closed(part, chosen, top and name == "oneOf") for name, part in schema.items()}
    if isinstance(schema.get("properties"), dict):
        schema["additionalProperties"] = False
        if chosen and not top:
            schema.pop("required", None)
    return schema


SCHEMAS = load()


def schema_name(arguments, status, output):
    """The schema of what a command prints. Some that fail print beside the error what they have."""
    if status in (1, 2) and set(output) <= {"format", "error", "warnings"}:
        return "error.schema.json"
    words = []
    for before, word in zip(["", *arguments], arguments):
        if before not in WITH_VALUE and not word.startswith("-"):
            words.append(word)
    plans = words[0] == "configure" and "--dry-run" in arguments
    return ("plan" if plans else words[0]) + ".schema.json"


def complaints(name, output, as_shipped=False, chosen=False):
    """What is wrong with an output. as_shipped: members that the schema does not name are allowed."""
    schemas = SCHEMAS if as_shipped else {file: closed(copy.deepcopy(schema), chosen)
                                          for file, schema in SCHEMAS.items()}
    resolver = jsonschema.RefResolver("file:///" + name, schemas[name],
                                      {"file:///" + file: schema for file, schema in schemas.items()})
    validator = jsonschema.Draft202012Validator(schemas[name], resolver=resolver)
    found = []
    for error in validator.iter_errors(output):
        error = jsonschema.exceptions.best_match([error])
        found.append(f"{error.json_path}: {error.message[:300]}")
    return found


def check(arguments, status, text):
    """What is wrong with what a command line with --json printed."""
    try:
        output = json.loads(text)
    except ValueError as error:
        return [f"no JSON: {error}"]
    chosen = any(word.startswith(("-o", "--columns")) for word in arguments)
    return complaints(schema_name(arguments, status, output), output, chosen=chosen)
