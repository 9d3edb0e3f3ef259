import { journeysIn } from "./engines.mjs";

journeysIn("Firefox");
