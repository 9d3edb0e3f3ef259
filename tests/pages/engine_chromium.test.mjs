import { journeysIn } from "./engines.mjs";

journeysIn("Chromium");
