import { test } from "node:test";
import { journeysIn } from "./engines.mjs";

if (process.platform === "win32") {
  test("WebKit", { skip: "WebKitGTK's MiniBrowser is not made for Windows" }, () => {});
} else {
  journeysIn("WebKit");
}
