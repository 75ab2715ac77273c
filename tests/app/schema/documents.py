"""The schema of the JSON documents: its errors in a document, and its keys."""

import copy
import datetime
import json

import jsonschema  # Of the package python3-jsonschema.

FORMATS = jsonschema.FormatChecker(formats=["ipv4", "ipv6"])


@FORMATS.checks("date-time")
def is_time(text):
    """jsonschema itself checks times only beside another package."""
    try:
        return not isinstance(text, str) or datetime.datetime.fromisoformat(text).tzinfo is not None
    except ValueError:
        return False


class Schema:
    def __init__(self, path):
        with open(path, encoding="utf-8") as text:
            self.open = json.load(text)
        jsonschema.Draft202012Validator.check_schema(self.open)
        self._closed = copy.deepcopy(self.open)
        _close(self._closed)
        self._validator = jsonschema.Draft202012Validator(self._closed, format_checker=FORMATS)

    def errors(self, document):
        """The errors of a document. Other than hosts, tests allow no keys that the schema lacks."""
        return [f"{error.json_path}: {error.message[:300]}"
                for error in self._validator.iter_errors(document)]

    def keys(self, definition):
        """Yields (path, type names, words or None) of each key of a document."""
        yield from self._keys(self._resolved({"$ref": "#/$defs/" + definition}), "")

    def _keys(self, node, path):
        for key, value in node.get("properties", {}).items():
            value = self._resolved(value)
            place = f"{path}.{key}" if path else key
            yield place, _types(value), value.get("enum", [value["const"]] if "const" in value else None)
            yield from self._keys(value, place)
        if "items" in node:
            item = self._resolved(node["items"])
            if not item.get("properties"):
                yield path + "[]", _types(item), item.get("enum")
            yield from self._keys(item, path + "[]")
        if isinstance(node.get("additionalProperties"), dict):
            yield path + ".*", _types(self._resolved(node["additionalProperties"])), None

    def _resolved(self, node):
        if "$ref" not in node:
            return node
        return self._resolved(self.open["$defs"][node["$ref"].rsplit("/", 1)[1]]) | {
            key: value for key, value in node.items() if key != "$ref"}


def _close(node):
    """Forbids further keys in each object. Conditions have no type and stay as they are."""
    if isinstance(node, dict):
        if "properties" in node and "type" in node:
            node.setdefault("additionalProperties", False)
        for value in node.values():
            _close(value)
    elif isinstance(node, list):
        for value in node:
            _close(value)


def _types(node):
    if "type" in node:
        return node["type"] if isinstance(node["type"], list) else [node["type"]]
    words = node.get("enum", [node.get("const")])
    return ["string"] + (["null"] if None in words else [])


def documents_in(text):
    """Yields JSON documents that stand one behind the other."""
    decoder = json.JSONDecoder()
    text = text.lstrip()
    while text:
        document, end = decoder.raw_decode(text)
        yield document
        text = text[end:].lstrip()
