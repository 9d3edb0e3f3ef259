// Paths that must never lead out of the web root, for every endpoint that takes one.

// Refused before the file system is asked, because ".." stands somewhere in the path. As sent in a
// query; decode them for JSON.
export const refusedPaths = [
  ["two dots", ".."],
  ["two dots and a slash", "../"],
  ["a parent in front", "../x"],
  ["a parent in the middle", "a/../b"],
  ["a parent at the end", "a/.."],
  ["two dots inside a name", "a..b"],
  ["a folder that ends with two dots", "notes../x"],
  ["three dots", "..."],
  ["a leading slash", "/../x"],
  ["a leading backslash", "%5C..%5Cx"],
  ["backslashes", "..%5C..%5CWindows"],
  ["mixed slashes", "..%5C../x"],
  ["escaped dots", "%2e%2e"],
  ["escaped dots and slash", "%2e%2e%2fx"],
  ["one escaped dot", ".%2e/x"],
  ["an escaped backslash", "%2e%2e%5cx"],
  ["a verbatim prefix and a parent", "%5C%5C%3F%5CC:%5C.."],
  ["a drive letter and a parent", "C:/../Windows"],
];

// Not refused by their form: joined below the web root, where nothing of that name is.
export const joinedPaths = [
  ["a drive letter", "C:/Windows"],
  ["a drive letter with a backslash", "C:%5CWindows"],
  ["a bare drive", "C:"],
  ["another drive", "Z:/etc/passwd"],
  ["a server share", "%5C%5Cserver%5Cshare"],
  ["a server share with slashes", "//localhost/C$"],
  ["a verbatim prefix", "%5C%5C%3F%5CC:%5CWindows"],
  ["a device prefix", "%5C%5C.%5CC:%5CWindows"],
  ["an NT object prefix", "%5C%3F%3F%5CC:%5CWindows"],
  ["a Unix path", "/etc/passwd"],
  ["a doubly escaped parent", "%252e%252e%252fx"],
  ["fullwidth dots", "%EF%BC%8E%EF%BC%8E/x"],
  ["an overlong dot", "%C0%AE%C0%AE/x"],
  ["an overlong slash", ".%C0%AF.%C0%AFx"],
  ["invalid UTF-8", "%FF%FEx"],
  ["a cut UTF-8 sequence", "x%E2%82"],
  ["an encoded surrogate", "%ED%A0%80"],
];
