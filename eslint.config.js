import js from "@eslint/js";
import globals from "globals";

const strictness = {
  eqeqeq: "error",
  "no-shadow": "error",
  "no-var": "error",
  "prefer-const": "error",
  "no-restricted-syntax": [
    "error",
    {
      selector: "VariableDeclarator > Identifier.id[name=/^[A-Z][A-Z0-9_]+$/]",
      message: "Constants are spelled kLikeThis, as in C++.",
    },
  ],
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
