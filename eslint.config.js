import js from "@eslint/js";
import globals from "globals";

const strictness = {
  eqeqeq: "error",
  "no-shadow": "error",
  "no-var": "error",
  "prefer-const": "error",
  // Constants are spelled kLikeThis, as in C++.
  "no-restricted-syntax": ["error", "VariableDeclarator > Identifier.id[name=/^[A-Z][A-Z0-9_]+$/]"],
  "max-lines": ["error", 500],
  "max-lines-per-function": ["error", { max: 60, skipBlankLines: true, skipComments: true }],
};

export default [
  { ignores: ["build/", "node_modules/"] },
  js.configs.recommended,
  { rules: strictness },
  { files: ["src/web/**/*.js"], languageOptions: { globals: globals.browser } },
  {
    files: ["tests/**", "scripts/**", "bench/**", "*.js"],
    languageOptions: { globals: { ...globals.node, ...globals.browser } },
    // A suite is one function that holds its tests.
    rules: { "max-lines-per-function": "off" },
  },
];
