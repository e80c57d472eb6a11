// The prose of the generated pages.
#include "settings/prose.h"

namespace settings {

const std::string_view kIntroduction =
    R"(Every environment variable, file, section, key and settings-store key that an operation depends on,
and what applies if it is missing. A variable set to the empty string counts as unset unless stated
otherwise. Nothing is read at load time. "Each call" means that the next call sees a change;
"cached" means that the first good result is cached until the process ends.
)";

const std::string_view kExplanations = R"PAGE(## Order of sources

A store key is looked up in two branches of its tree: that of the application, named by `APP_NAME`
("/vexa/common/setting_cfg/gateway/ListenAllIp"), then "global"
("/vexa/common/setting_cfg/global/ListenAllIp"). The first lookup that succeeds with a nonempty
value decides. A store must leave the value unchanged when it fails: the switches do not test the
result of the second lookup, so a value that it writes counts.

All values ("enable", "disable", "true") are compared exactly, including case. `commutil explain`
shows what decided an answer on a host, and `commutil check` finds what is wrong.

## How configuration files are found

`getConfFile` takes the first that exists:

1. `_APP_SHARE_DIR` + "/conf/" + name
2. `APP_ROOT` + "/conf/" + name
3. `COMMON_LIB_PATH` + "/conf/" + name, whether it exists or not

Only existence counts: an unreadable file, or a directory of that name, hides the files after it.

## INI files

Sections are in brackets, with one "key = value" per line and comments (";" or "#") on separate
lines. Names are case-sensitive. Quotes are part of a value; whitespace around keys and values is
not. The first value of a repeated key applies; a repeated section continues the first. Lines end in
LF, CR or CRLF and may be of any length. A UTF-8 byte-order mark is skipped, and a NUL byte ends the
file. Entries under a section line without its closing bracket belong to no section. Only regular
files and /dev/null, which is empty, are read.

## JSON files

RFC 8259, with comments allowed; the last value of a repeated name applies. Text nested deeper than
1000 levels and text after the document make it malformed. A UTF-8 byte-order mark is skipped. The
application configuration:

```json
{"databases": {"main": [{"type": "oracle"}]}}
```

Names are ordered by their bytes, so "Main" comes before "backup". A "type" that is not a string
counts as missing.

## The settings store

The library opens "libsettingrest.so" through the dynamic linker (`LD_LIBRARY_PATH`, the linker's
cache, the default directories) on the first lookup, with lazy binding and global symbols. It must
export, under their plain names,

```cpp
extern "C" int getSettingParamValue(const std::string& key, std::string& value);
extern "C" int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params);
```

which return 0 on success and must allow concurrent calls from any number of threads. Once an entry
point has been found, the store stays mapped until the process ends, even if its file is replaced;
the next process loads the new one. A store without the entry point is unloaded, and the next call
searches again. A store may look up settings itself, even during the first call, but not in its
constructors.

A deployment without a store of its own can install the reference store, which serves the JSON
document or the snapshot that `SETTINGREST_URL` names ("file:///path", "snapshot:///path"), or
"conf/settings.json" of a configuration tree; see [its page](../providers/settingrest/README.md).

## Changing a file while services run

Write a new file in the same directory and rename(2) it over the old one. With an edit in place, a
service may read half a file: a truncated INI file or a malformed JSON document. The next call sees
what is read on each call; a change of what is cached needs a new process.

`examples/deployment/` is a sample deployment; `commutil report` shows what a service gets on a
host.

## The SSL option file

`get_svc_ssl_conf("svc_ssl.conf")` inserts the options that the template lacks before the first
double quote after "-SSLCAfile". An option counts as present if its name appears anywhere in the
template, even in a comment or as the start of a longer word. Each added option starts a new line
inside the quotes, which a reader of the file must allow.

An older file of the process instance is removed first; of a link, only the link. If the template
cannot be read or the write fails, there is no file.
)PAGE";

}  // namespace settings
