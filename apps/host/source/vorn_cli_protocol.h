#pragma once

#include <QLatin1String>

// What a command and the host that it speaks to say to each other: one JSON object in a line each way, then the
// host closes the connection.
//
// Request:  {"protocol": 1, "command": "trash", "arguments": {"alias": ..., "name": ...}}
// Answer:   {"protocol": 1, "ok": true, "done": "trashed", "details": [...], ...}
//           {"protocol": 1, "ok": false, "refused": "unknown_alias", "details": [...], "texts": [...]}
// "done" and "refused" name a sentence, which the command says in its own language with the details in it;
// "texts" are the manager's own words.
namespace VornCliProtocol {

constexpr int kVersion = 1;
constexpr int kMaxRequestBytes = 64 * 1024; // a handful of names
constexpr int kMaxAnswerBytes = 64 * 1024 * 1024;
constexpr int kFileReadyMs = 15000;    // how long the manager takes at most to make a file ready
constexpr int kResetDefaultMs = 30000; // for running operations to end

const QLatin1String kProtocolKey("protocol");
const QLatin1String kCommandKey("command");
const QLatin1String kArgumentsKey("arguments");
const QLatin1String kOkKey("ok");
const QLatin1String kDoneKey("done");
const QLatin1String kRefusedKey("refused");
const QLatin1String kDetailsKey("details");
const QLatin1String kCountKey("count");
const QLatin1String kTextsKey("texts");

const QLatin1String kAliasKey("alias");
const QLatin1String kNameKey("name");
const QLatin1String kNewNameKey("new_name");
const QLatin1String kPathKey("path");
const QLatin1String kTimeoutKey("timeout_ms");
const QLatin1String kNowKey("now");
const QLatin1String kKeepDistantKey("keep_distant");

} // namespace VornCliProtocol
