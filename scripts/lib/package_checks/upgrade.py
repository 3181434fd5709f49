# SPDX-License-Identifier: Apache-2.0
"""What the packages make of folders that an older version shared with a group."""

import os

from bus import STATE
from folders import LOGS, MANAGERS, expect, expect_folders
from places import names_of

USERS_BEFORE = 'u healthintf - "Health services"\n'
SHARED = ["/run/healthintf", "/run/healthintf/datacache", STATE + "/config"]
FOLDERS_BEFORE = "".join(
    f"""d {folder} 2775 healthintf healthintf -
a+ {folder} - - - - default:user::rwx,default:group::rwx,default:mask::rwx,\
default:other::r-x
""" for folder in SHARED) + f"d {STATE}/sel 0700 healthintf healthintf -\n"
CONFIG = STATE + "/config/"
CACHE = "/run/healthintf/datacache/"
ATTRIBUTES = '{"hideerrs": 1}\n'


class Upgrade:
    """Checks in a root from which the packages were purged; whoever was in the
    group has left what he should not."""

    def make_as_before(self, kind, text):
        self.root.write("/root/before.conf", text)
        self.root.run(*kind, "/root/before.conf")
        os.remove(self.root.at("/root/before.conf"))

    def write_as(self, user, path, text):
        self.root.run("sh", "-c", 'umask 002; printf %s "$1" >"$2"', "sh", text,
                      path, user=user, groups="healthintf")

    def check_older_folders_are_put_right(self):
        self.make_as_before(["systemd-sysusers"], USERS_BEFORE)
        self.make_as_before(["systemd-tmpfiles", "--create"], FOLDERS_BEFORE)
        assert "+" in self.root.run("ls", "-ld", CONFIG), "no ACL to remove"
        self.root.write("/root/secret", "secret")
        for name in ["users", "lock.mdb", "data.mdb"]:
            self.write_as("games", CACHE + name, "old")
        for name, text in [("attributes.json", ATTRIBUTES), ("lock", ""),
                           ("attributes.json.damaged", "what was there")]:
            self.write_as("games", CONFIG + name, text)
        for link in [CACHE + "link", CONFIG + "attributes.json.new",
                     CONFIG + "link"]:
            self.root.run("ln", "-s", "/root/secret", link, user="games",
                          groups="healthintf")
        self.root.write(STATE + "/sel/data.mdb", "the log")
        self.root.run("chown", "healthintf:healthintf", STATE + "/sel/data.mdb")
        self.root.run("chmod", "600", STATE + "/sel/data.mdb")
        before = os.stat(self.root.at(CONFIG + "attributes.json")).st_ino
        self.root.install(self.packages)
        expect_folders(self.root)
        # Whoever had it open for writing has another.
        assert os.stat(self.root.at(CONFIG + "attributes.json")).st_ino != \
            before

    def expect_file(self, path, text, mode, owner):
        expect(self.root, path, mode, owner)
        with open(self.root.at(path), encoding="utf-8") as file:
            assert file.read() == text, path

    def check_what_must_last_is_kept(self):
        self.expect_file(CONFIG + "attributes.json", ATTRIBUTES, 0o644,
                         MANAGERS)
        self.expect_file(CONFIG + "attributes.json.damaged", "what was there",
                         0o644, MANAGERS)
        self.expect_file(STATE + "/sel/data.mdb", "the log", 0o600, LOGS)

    def check_what_is_of_no_use_is_gone(self):
        assert sorted(os.listdir(self.root.at(CONFIG))) == [
            "attributes.json", "attributes.json.damaged"]
        assert sorted(os.listdir(self.root.at(STATE))) == ["config", "sel"]
        assert not os.listdir(self.root.at(CACHE))

    def check_links_were_not_followed(self):
        self.expect_file("/root/secret", "secret", 0o644, "root:root")

    def check_installing_again_changes_nothing(self):
        self.write_as("games", CACHE + "segment", "a reporter's")
        before = os.stat(self.root.at(CONFIG + "attributes.json"))
        self.root.install(self.packages)
        expect_folders(self.root)
        assert os.stat(self.root.at(CONFIG + "attributes.json")) == before
        assert os.listdir(self.root.at(CACHE)) == ["segment"]
        self.root.run("dpkg", "--purge", *names_of(self.packages))
