"""What the fields of a request have to be, and how a request is refused."""
import base64
import binascii
import re
import urllib.parse


class Refusal(Exception):
    """An answer with a status of 400 and above."""

    def __init__(self, status, message):
        super().__init__(message)
        self.status = status


# What a request's fields have to be.

def text(value):
    """Text that UTF-8 can hold: JSON can also spell half a character."""
    return isinstance(value, str) and len(value) < 100_000 and not re.search("[\ud800-\udfff]", value)


def filled(value):
    return text(value) and value.strip() != ""


def number(value):
    return isinstance(value, int) and not isinstance(value, bool) and 0 <= value < 1 << 63


def flag(value):
    return isinstance(value, bool)


def address(value):
    return text(value) and urllib.parse.urlsplit(value).scheme in ("http", "https")


def identifier(value):
    return text(value) and re.fullmatch(r"[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}", value) is not None


def bundle_name(value):
    return text(value) and re.fullmatch(r"[A-Za-z0-9.-]{1,255}", value) is not None


def mail(value):
    return text(value) and re.fullmatch(r"[^@\s]+@[^@\s]+", value) is not None


def password(value):
    return text(value) and len(value) >= 8


def channel_name(value):
    return value == "" or text(value) and re.fullmatch(r"[a-z0-9]([a-z0-9-]{0,48}[a-z0-9])?", value) is not None


def scope_name(value):
    return value in ("release", "full")


def base64_of(length):
    def check(value):
        try:
            return text(value) and len(base64.b64decode(value, validate=True)) == length
        except (binascii.Error, ValueError):
            return False
    check.__name__ = f"base64 of {length} bytes"
    return check


public_key, update_signature = base64_of(32), base64_of(64)
WORDS = {filled: "text that is not empty", flag: "true or false", number: "a whole number", address: "a web address",
         identifier: "a UUID", bundle_name: "a bundle identifier", mail: "an email address",
         password: "at least 8 characters", channel_name: "a channel name",
         scope_name: '"release" or "full"'}

APP_FIELDS = {"name": filled, "bundleIdentifier": bundle_name, "edDSAPublicKey": public_key}
APP_CHANGES = {"edDSAPublicKey": public_key, "fullReleaseNotesURL": address, "customDomain": text,
               "stripeSecretKey": text, "stripeWebhookSecret": text, "stripeManagedPayments": flag}
RELEASE_TEXTS = {"title": text, "bundleVersion": number, "bundleVersionString": filled, "releaseNotes": text,
                 "minimumSystemVersion": text, "signature": update_signature}
RELEASE_CHOICES = {"channel": channel_name, "isPhasedRollout": flag, "isCritical": flag, "isPublished": flag,
                   "criticalUpdateBelowReleaseID": identifier}
APP_ANSWER = ("id", "name", "bundleIdentifier", "edDSAPublicKey", "fullReleaseNotesURL", "customDomain",
              "stripeSecretKey", "stripeWebhookSecret", "stripeManagedPayments")
RELEASE_ANSWER = ("id", "title", "bundleVersion", "bundleVersionString", "releaseNotes", "minimumSystemVersion",
                  "fileSize", "channel", "isPhasedRollout", "isCritical", "isPublished", "createdAt", "updatedAt")


def fields(body, required, optional=None):
    """The named fields of a request's body; others are passed over, and null counts as absent."""
    if not isinstance(body, dict):
        raise Refusal(400, "The body is not a JSON object.")
    result = {}
    for name, fits in {**required, **(optional or {})}.items():
        value = body.get(name)
        if value is None:
            if name in required:
                raise Refusal(422, f"{name} is missing.")
        elif fits(value):
            result[name] = value
        else:
            raise Refusal(422, f"{name} must be {WORDS.get(fits, fits.__name__)}.")
    return result
