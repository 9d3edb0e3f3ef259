// What a test that talks to the running program needs, in one import.
export { once } from "node:events";

export * from "./connections.mjs";
export * from "./event_log.mjs";
export * from "./eventually.mjs";
export * from "./folders.mjs";
export * from "./parallel.mjs";
export { program } from "./program.mjs";
export * from "./replies.mjs";
export * from "./requests.mjs";
