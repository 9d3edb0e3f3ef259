// Files dropped on the zone are handed on at once; files dropped anywhere else on the page do
// nothing, where the browser would otherwise leave the page and open them.

const dropZone = document.getElementById("dropzone");

function setDragOver(isOver) {
  dropZone.classList.toggle("dragover", isOver);
}

function handleDragOver(event) {
  event.preventDefault();
  setDragOver(true);
}

function handleDragLeave(event) {
  // Moving onto a line of text inside the zone is not leaving it.
  if (!dropZone.contains(event.relatedTarget)) {
    setDragOver(false);
  }
}

function carriesFiles(event) {
  return Array.from(event.dataTransfer?.types ?? []).includes("Files");
}

function cancelOutsideZone(event) {
  if (carriesFiles(event) && !dropZone.contains(event.target)) {
    event.preventDefault();
  }
}

export function installDropZone(onFiles) {
  dropZone.addEventListener("dragenter", handleDragOver);
  dropZone.addEventListener("dragover", handleDragOver);
  dropZone.addEventListener("dragleave", handleDragLeave);
  dropZone.addEventListener("drop", (event) => {
    event.preventDefault();
    setDragOver(false);
    onFiles(Array.from(event.dataTransfer?.files ?? []));
  });
  for (const type of ["dragenter", "dragover", "drop"]) {
    document.addEventListener(type, cancelOutsideZone, { capture: true });
  }
}
