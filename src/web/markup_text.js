// Names stand in the markup as they are. The three characters that could end or begin a tag cannot
// occur in a Windows name, but a folder that lives on another file system can hold them.

const kEntities = { "<": "&lt;", ">": "&gt;", '"': "&quot;" };

export function markupText(name) {
  return name.replace(/[<>"]/g, (character) => kEntities[character]);
}
