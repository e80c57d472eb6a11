// What the generated pages say beside the tables.
#include "settings/prose.h"

namespace settings {

const std::string_view kIntroduction =
    R"(Every environment variable, file, section, key and settings-store key that an operation depends on,
with what applies without it. A variable set to the empty string counts as unset unless stated
otherwise. Nothing is read at load time. "Each call" means that the next call sees a change; "cached"
means that the first good answer is kept for the life of the process.
)";

const std::string_view kExplanations = R"PAGE(## Order of sources

A store key is asked for in two branches of its tree: that of the application, named by `APP_NAME`
("/vexa/common/setting_cfg/gateway/ListenAllIp"), then "global"
("/vexa/common/setting_cfg/global/ListenAllIp"). The first that succeeds with a value that is not
empty decides. A store that fails should leave the value alone: the switches do not test the result
of the second lookup, so text written by a failing one counts.

All values ("enable", "disable", "true") are compared exactly, including case. `commutil explain`
shows what decided an answer on a host, and `commutil check` what is wrong there.

## How configuration files are found

`getConfFile` takes the first that exists:

1. `_APP_SHARE_DIR` + "/conf/" + name
2. `APP_ROOT` + "/conf/" + name
3. `COMMON_LIB_PATH` + "/conf/" + name, whether it exists or not

Existing is enough: a file that the process may not read, or a directory of that name, hides the
files after it.

## INI files

Sections in brackets, one "key = value" a line, comments (";" or "#") on separate lines. Names are
case-sensitive. Quotes are part of a value; whitespace around keys and values is not. The first value
of a repeated key applies; a repeated section continues the first. Lines end in LF, CR or CRLF and may
be of any length. A UTF-8 byte-order mark is skipped, and a NUL byte ends the file. Entries under a
section line without its closing bracket belong to no section. Only regular files and /dev/null, which
is empty, are read.

## JSON files

RFC 8259, with comments allowed; the last value of a repeated name applies.
Text nested deeper than 1000 levels and text after the document make it malformed. A UTF-8
byte-order mark is skipped. The application configuration:

```json
{"databases": {"main": [{"type": "oracle"}]}}
```

Names order by their bytes, so "Main" comes before "backup". A "type" that is not a string counts
as missing.

## The settings store

The library opens "libsettingrest.so" through the dynamic linker (`LD_LIBRARY_PATH`, the linker's
cache, the default directories) on the first lookup, with lazy binding and global
symbols. It must export, under their plain names,

```cpp
extern "C" int getSettingParamValue(const std::string& key, std::string& value);
extern "C" int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params);
```

which return 0 on success and may be called from any number of threads at once. Once an entry point
has been found, the store stays mapped until the process ends, even if its file is replaced;
the next process loads the new one. A store without the entry point is released, and the next call
looks for it again. A store may look up settings itself, also during the first call, but not in its
constructors.

A deployment without a store of its own installs the reference one, which serves the JSON document
that `SETTINGREST_URL` names or "conf/settings.json" of a configuration tree; see
[its page](../providers/settingrest/README.md).

## Changing a file while services run

Write the new contents beside the file and rename(2) them over it. Whoever edits in place lets a
service read half a file: a truncated INI file, or a JSON document that is malformed for a moment. The
next call sees what is read on each call; what is cached needs a new process.

`examples/deployment/` is a sample deployment; `commutil report` shows what a service would get on a
host.

## The SSL option file

`get_svc_ssl_conf("svc_ssl.conf")` puts the options that the template lacks in front of the double
quote that ends the argument string with "-SSLCAfile". An option counts as present if its
name appears anywhere in the template, also in a comment or as the beginning of a longer word. Each
added option begins a new line inside the quotes: a reader of the file must allow that.

An older file of the process instance is removed first, a link without its target. If the template
cannot be read or the write fails, there is no file.
)PAGE";

}  // namespace settings
