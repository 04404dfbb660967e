"""The records of the service and what its routes do. No HTTP here: see server.py."""
import base64
import contextlib
import datetime
import email.utils
import hashlib
import hmac
import json
import os
import re
import secrets
import shutil
import subprocess
import tempfile
import urllib.parse
import uuid
import xml.etree.ElementTree as ElementTree

from .fields import (APP_ANSWER, APP_CHANGES, APP_FIELDS, RELEASE_ANSWER, RELEASE_CHOICES, RELEASE_TEXTS, Refusal,
                     fields, filled, flag, identifier, mail, number, password, scope_name, text)

SPARKLE = "http://www.andymatuschak.org/xml-namespaces/sparkle"
PUBLIC_KEY_DER = bytes.fromhex("302a300506032b6570032100")  # what stands before the 32 bytes (RFC 8410)
FILE_TYPES = {"application/x-apple-diskimage": "dmg", "application/zip": "zip"}


def new_id():
    return str(uuid.uuid4()).upper()


def now():
    return datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")


def replace_file(path, data):
    """Written beside the target and renamed, readable for its owner only from the first byte on."""
    handle, fresh = tempfile.mkstemp(dir=os.path.dirname(path))
    with os.fdopen(handle, "wb") as file:
        file.write(data)
        file.flush()
        os.fsync(file.fileno())
    os.replace(fresh, path)


class Table(dict):
    """Records by id, kept in one JSON file. A change lasts once `save` has returned."""

    def __init__(self, path):
        super().__init__()
        self.path = path
        with contextlib.suppress(FileNotFoundError), open(path, encoding="utf-8") as file:
            self.update(json.load(file))

    def save(self):
        replace_file(self.path, json.dumps(self, indent=1).encode())


def scramble(secret, salt):
    return hashlib.scrypt(secret.encode(), salt=salt, n=1 << 14, r=8, p=1).hex()


def with_password(user, secret):
    salt = secrets.token_bytes(16)
    return {**user, "salt": salt.hex(), "password": scramble(secret, salt)}


def has_password(user, secret):
    return hmac.compare_digest(user["password"], scramble(secret, bytes.fromhex(user["salt"])))


def digest(token):
    return hashlib.sha256(token.encode()).hexdigest()


def is_signed(path, signature, key):
    """Whether an update's signature fits its bytes, by openssl's own judgement."""
    with tempfile.TemporaryDirectory() as folder:
        replace_file(f"{folder}/key", PUBLIC_KEY_DER + base64.b64decode(key))
        replace_file(f"{folder}/signature", base64.b64decode(signature))
        return subprocess.run(["openssl", "pkeyutl", "-verify", "-rawin", "-pubin", "-keyform", "DER",
                               "-inkey", f"{folder}/key", "-sigfile", f"{folder}/signature", "-in", path],
                              capture_output=True, check=False).returncode == 0


ROUTES = []


def route(method, path, scope="full", takes="json"):
    """Files an operation. `scope` is what the bearer of a token needs, None for everybody; `takes` is the kind of
    body of a POST: "json", "file", or None for a body that does not matter."""
    pattern = re.compile(re.sub(r"{(\w+)}", r"(?P<\1>[^/]+)", path.replace(".", r"\.")))

    def file(operation):
        ROUTES.append((method, pattern, scope, takes, operation))
        return operation
    return file


class File:
    """An answer that is a file."""

    def __init__(self, path, kind, name=None):
        self.file = open(path, "rb")  # stays readable when another call removes it meanwhile
        self.kind, self.name = kind, name


class Service:
    """All accounts, apps and releases, in one folder. Operations are called one at a time; each gets the call (who
    asks, the parts of the path, the body) and gives a record, a list, a File, XML, or None for an empty answer."""

    def __init__(self, folder):
        self.folder = folder
        self.base = None  # "http://127.0.0.1:PORT"; addresses are made when they are asked for
        self.checks_signatures = shutil.which("openssl") is not None
        for name in ("files", "incoming"):
            os.makedirs(f"{folder}/{name}", mode=0o700, exist_ok=True)
        self.users, self.tokens, self.apps, self.releases, self.downloads = (
            Table(f"{folder}/{name}.json") for name in ("users", "tokens", "apps", "releases", "downloads"))

    # Accounts

    def issue_token(self, user, **details):
        token = secrets.token_urlsafe(32)
        self.tokens[digest(token)] = {"id": new_id(), "user": user["id"], "scope": "full", "createdAt": now(),
                                      **details}
        self.tokens.save()
        return token

    def revoke(self, condemned):
        for key in [key for key, token in self.tokens.items() if condemned(token)]:
            del self.tokens[key]
        self.tokens.save()

    def bearer(self, header, scope):
        """The user and the token record behind an Authorization header."""
        kind, _, token = (header or "").partition(" ")
        record = self.tokens.get(digest(token.strip())) if kind.lower() == "bearer" else None
        if record is None or record["user"] not in self.users:
            raise Refusal(401, "You are not logged in, or your login has expired.")
        if scope == "full" and record["scope"] != "full":
            raise Refusal(403, "This API key may only publish releases.")
        return self.users[record["user"]], record

    def user_answer(self, user):
        return {name: user[name] for name in ("id", "email", "name")}

    def user_of(self, address):
        return next((user for user in self.users.values() if user["email"] == address.lower()), None)

    @route("POST", "/v1/users/register", scope=None)
    def register(self, call):
        given = fields(call.body, {"email": mail, "password": password, "name": filled})
        if self.user_of(given["email"]):
            raise Refusal(409, "An account with this email address exists already.")
        user = with_password({"id": new_id(), "email": given["email"].lower(), "name": given["name"]},
                             given["password"])
        self.users[user["id"]] = user
        self.users.save()
        return {"user": self.user_answer(user), "token": self.issue_token(user)}

    @route("POST", "/v1/users/login", scope=None)
    def login(self, call):
        given = fields(call.body, {"email": text, "password": text})
        user = self.user_of(given["email"])
        if user is None or not has_password(user, given["password"]):
            raise Refusal(401, "The email address or the password is wrong.")
        return {"user": self.user_answer(user), "token": self.issue_token(user)}

    @route("POST", "/v1/users/logout", scope="release", takes=None)
    def logout(self, call):
        if "name" not in call.token:  # an API key stays until it is deleted
            self.revoke(lambda token: token is call.token)

    @route("GET", "/v1/users", scope="release")
    def get_user(self, call):
        return self.user_answer(call.user)

    @route("POST", "/v1/users")
    def update_user(self, call):
        call.user.update(fields(call.body, {"name": filled}))
        self.users.save()
        return self.user_answer(call.user)

    @route("POST", "/v1/users/password/reset/request", scope=None)
    def request_password_reset(self, call):
        fields(call.body, {"email": mail})
        return {"message": "If there is an account with this address, a message is on its way."}

    @route("POST", "/v1/users/password/change")
    def change_password(self, call):
        given = fields(call.body, {"currentPassword": text, "newPassword": password})
        if not has_password(call.user, given["currentPassword"]):
            raise Refusal(403, "The current password is wrong.")
        call.user.update(with_password(call.user, given["newPassword"]))
        self.users.save()
        self.revoke(lambda token: token["user"] == call.user["id"] and token is not call.token)
        return {"message": "The password is changed."}

    @route("GET", "/v1/api-keys")
    def list_api_keys(self, call):
        return [{name: key[name] for name in ("id", "name", "scope", "createdAt")} for key in self.tokens.values()
                if key["user"] == call.user["id"] and "name" in key]

    @route("POST", "/v1/api-keys")
    def create_api_key(self, call):
        given = fields(call.body, {"name": filled, "scope": scope_name})
        token = self.issue_token(call.user, **given)
        return {**{name: self.tokens[digest(token)][name] for name in ("id", "createdAt")}, **given, "token": token}

    @route("DELETE", "/v1/api-keys/{id}")
    def delete_api_key(self, call):
        mine = [token for token in self.tokens.values()
                if token["id"] == call.id and token["user"] == call.user["id"] and "name" in token]
        if not mine:
            raise Refusal(404, "There is no such API key.")
        self.revoke(lambda token: token is mine[0])

    # Apps

    def app_answer(self, app):
        answer = {name: app[name] for name in APP_ANSWER if app.get(name) is not None}
        place = f"{self.base}/v1/apps/{app['bundleIdentifier']}"
        if app.get("icon"):
            answer["iconURL"] = f"{place}/icon"
        return {**answer, "appcastURL": f"{place}/appcast.xml",
                "releases": [self.release_answer(release) for release in self.releases_of(app)]}

    def named_app(self, bundle):
        app = next((app for app in self.apps.values() if app["bundleIdentifier"] == bundle), None)
        if app is None:
            raise Refusal(404, f"There is no app {bundle}.")
        return app

    def own_app(self, call, app_id):
        app = self.apps.get(app_id.upper())
        if app is None:
            raise Refusal(404, "There is no such app.")
        if app["user"] != call.user["id"]:
            raise Refusal(403, "This app belongs to another account.")
        return app

    @route("POST", "/v1/apps")
    def create_app(self, call):
        given = fields(call.body, APP_FIELDS)
        if any(app["bundleIdentifier"] == given["bundleIdentifier"] for app in self.apps.values()):
            raise Refusal(409, f"An app with the bundle identifier {given['bundleIdentifier']} exists already.")
        app = {"id": new_id(), "user": call.user["id"], "stripeManagedPayments": False, **given}
        self.apps[app["id"]] = app
        self.apps.save()
        return self.app_answer(app)

    @route("POST", "/v1/apps/{id}")
    def update_app(self, call):
        app = self.own_app(call, call.id)
        given = fields(call.body, {"id": identifier}, APP_CHANGES)
        if given.pop("id").upper() != app["id"]:
            raise Refusal(422, "id is not the one of the path.")
        app.update(given)
        self.apps.save()
        return self.app_answer(app)

    @route("DELETE", "/v1/apps/{id}")
    def delete_app(self, call):
        app = self.own_app(call, call.id)
        for release in self.releases_of(app):
            self.remove_release(release)
        self.downloads.pop(app["id"], None)
        del self.apps[app["id"]]
        for table in (self.apps, self.releases, self.downloads):
            table.save()
        self.remove_file(app["id"])

    @route("POST", "/v1/apps/{id}/icon", scope="release", takes="file")
    def upload_icon(self, call):
        app = self.own_app(call, call.id)
        with open(call.body, "rb") as file:
            if file.read(8) != b"\x89PNG\r\n\x1a\n":
                raise Refusal(422, "The icon is not a PNG file.")
        os.replace(call.body, f"{self.folder}/files/{app['id']}")
        app["icon"] = True
        self.apps.save()
        return self.app_answer(app)

    @route("GET", "/v1/apps/{bundle}/icon", scope=None)
    def get_icon(self, call):
        app = self.named_app(call.bundle)
        if not app.get("icon"):
            raise Refusal(404, "This app has no icon.")
        return File(f"{self.folder}/files/{app['id']}", "image/png")

    @route("GET", "/v1/apps/{bundle}/details", scope="release")
    def fetch_app(self, call):
        app = self.named_app(call.bundle)
        if app["user"] != call.user["id"]:
            raise Refusal(404, f"There is no app {call.bundle}.")
        return self.app_answer(app)

    @route("GET", "/v1/users/apps", scope="release")
    def fetch_users_apps(self, call):
        return [self.app_answer(app) for app in self.apps.values() if app["user"] == call.user["id"]]

    @route("GET", "/v1/apps/{id}/downloads", scope="release")
    def fetch_downloads(self, call):
        days = self.downloads.get(self.own_app(call, call.id)["id"], {})
        return {"total": sum(days.values()),
                "daily": [{"date": day, "downloads": count} for day, count in sorted(days.items())]}

    # Releases

    def releases_of(self, app):
        mine = [release for release in self.releases.values() if release["app"] == app["id"]]
        return sorted(mine, key=lambda release: -release["bundleVersion"])

    def release_answer(self, release):
        answer = {name: release[name] for name in RELEASE_ANSWER if release.get(name) is not None}
        if release.get("file"):
            name = urllib.parse.quote(release["file"], safe="")
            answer["downloadURL"] = f"{self.base}/v1/releases/{release['id']}/files/{name}"
        return answer

    def own_release(self, call):
        release = self.releases.get(call.id.upper())
        if release is None:
            raise Refusal(404, "There is no such release.")
        self.own_app(call, release["app"])
        return release

    def remove_file(self, name):
        with contextlib.suppress(FileNotFoundError):
            os.remove(f"{self.folder}/files/{name}")

    def remove_release(self, release):
        del self.releases[release["id"]]
        self.remove_file(release["id"])

    def same_version(self, app, version):
        return next((release for release in self.releases_of(app) if release["bundleVersion"] == version), None)

    def check_release(self, app, release):
        """A stored release of an app, as it would be after a change."""
        below = release.get("criticalUpdateBelowReleaseID")
        if below and self.releases.get(below.upper(), {}).get("app") != app["id"]:
            raise Refusal(422, "criticalUpdateBelowReleaseID is not a release of this app.")
        release["channel"] = release.get("channel") or None  # the empty name is that of the default channel

    def check_signature(self, app, release, path):
        key = app.get("edDSAPublicKey")
        if key and self.checks_signatures and not is_signed(path, release["signature"], key):
            raise Refusal(422, "The signature does not fit the file and the app's public key.")

    @route("POST", "/v1/releases", scope="release")
    def create_release(self, call):
        given = fields(call.body, {**RELEASE_TEXTS, "fileSize": number, "isPublished": flag, "isPhasedRollout": flag,
                                   "isCritical": flag, "appID": identifier}, RELEASE_CHOICES)
        app = self.own_app(call, given.pop("appID"))
        earlier = self.same_version(app, given["bundleVersion"])
        if earlier and earlier.get("file"):
            raise Refusal(409, f"A release with bundle version {given['bundleVersion']} exists already.")
        # A record whose upload failed is taken up again by the next try.
        begun = earlier or {"id": new_id(), "createdAt": now()}
        release = {"id": begun["id"], "app": app["id"], "createdAt": begun["createdAt"], "updatedAt": now(), **given}
        self.check_release(app, release)
        self.releases[release["id"]] = release
        self.releases.save()
        return self.release_answer(release)

    @route("POST", "/v1/releases/{id}", scope="release")
    def update_release(self, call):
        release = self.own_release(call)
        app = self.apps[release["app"]]
        given = fields(call.body, {"id": identifier}, {**RELEASE_TEXTS, **RELEASE_CHOICES})
        if given.pop("id").upper() != release["id"]:
            raise Refusal(422, "id is not the one of the path.")
        changed = {**release, **given, "updatedAt": now()}
        self.check_release(app, changed)
        if self.same_version(app, changed["bundleVersion"]) not in (None, release):
            raise Refusal(409, f"A release with bundle version {changed['bundleVersion']} exists already.")
        if "signature" in given and release.get("file"):
            self.check_signature(app, changed, f"{self.folder}/files/{release['id']}")
        self.releases[release["id"]] = changed
        self.releases.save()
        return self.release_answer(changed)

    @route("DELETE", "/v1/releases/{id}", scope="release")
    def delete_release(self, call):
        self.remove_release(self.own_release(call))
        self.releases.save()

    @route("POST", "/v1/releases/{id}/upload", scope="release", takes="file")
    def upload_binary(self, call):
        release = self.own_release(call)
        app = self.apps[release["app"]]
        size = os.path.getsize(call.body)
        if size != release["fileSize"]:
            raise Refusal(422, f"The file has {size} bytes, the release was registered with {release['fileSize']}.")
        self.check_signature(app, release, call.body)
        os.replace(call.body, f"{self.folder}/files/{release['id']}")
        ending = FILE_TYPES.get(call.content_type, "bin")
        name = re.sub(r"[/\x00-\x1f\x7f\"]", "-", f"{app['name']}-{release['bundleVersionString']}.{ending}")
        release.update(file=name.lstrip("."), updatedAt=now())
        self.releases.save()
        return self.release_answer(release)

    # What installed apps ask for

    def offered(self, app):
        return [release for release in self.releases_of(app) if release["isPublished"] and release.get("file")]

    def download(self, release):
        days = self.downloads.setdefault(release["app"], {})
        days[now()[:10]] = days.get(now()[:10], 0) + 1
        self.downloads.save()
        return File(f"{self.folder}/files/{release['id']}", "application/octet-stream", release["file"])

    @route("GET", "/v1/releases/{id}/files/{name}", scope=None)
    def get_file(self, call):
        release = self.releases.get(call.id.upper())
        if release is None or release.get("file") != call.name:
            raise Refusal(404, "There is no such file.")
        return self.download(release)

    @route("GET", "/v1/apps/{bundle}/download", scope=None)
    def get_latest(self, call):
        for release in self.offered(self.named_app(call.bundle)):
            if not release.get("channel"):
                return self.download(release)
        raise Refusal(404, "This app has no published release.")

    @route("GET", "/v1/apps/{bundle}/appcast.xml", scope=None)
    def get_appcast(self, call):
        app = self.named_app(call.bundle)
        ElementTree.register_namespace("sparkle", SPARKLE)
        root = ElementTree.Element("rss", version="2.0")
        channel = ElementTree.SubElement(root, "channel")
        ElementTree.SubElement(channel, "title").text = app["name"]
        for release in self.offered(app):
            self.add_item(ElementTree.SubElement(channel, "item"), release)
        return ElementTree.tostring(root, encoding="unicode", xml_declaration=True)

    def add_item(self, item, release):
        def add(name, content=None, **attributes):
            ElementTree.SubElement(item, name, attributes).text = content
        created = datetime.datetime.strptime(release["createdAt"], "%Y-%m-%dT%H:%M:%S%z")
        add("title", release["title"])
        add("pubDate", email.utils.format_datetime(created))
        add(f"{{{SPARKLE}}}version", str(release["bundleVersion"]))
        add(f"{{{SPARKLE}}}shortVersionString", release["bundleVersionString"])
        add(f"{{{SPARKLE}}}minimumSystemVersion", release["minimumSystemVersion"])
        if release.get("channel"):
            add(f"{{{SPARKLE}}}channel", release["channel"])
        if release["isPhasedRollout"]:
            add(f"{{{SPARKLE}}}phasedRolloutInterval", "86400")
        if release["isCritical"]:
            below = self.releases.get((release.get("criticalUpdateBelowReleaseID") or "").upper())
            add(f"{{{SPARKLE}}}criticalUpdate",
                **({f"{{{SPARKLE}}}version": str(below["bundleVersion"])} if below else {}))
        add("description", re.sub(r"[\x00-\x08\x0b\x0c\x0e-\x1f]", "", release["releaseNotes"]))
        add("enclosure", url=self.release_answer(release)["downloadURL"], length=str(release["fileSize"]),
            type="application/octet-stream", **{f"{{{SPARKLE}}}edSignature": release["signature"]})
