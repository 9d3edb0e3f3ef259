// A mark names the control that has the focus, so that its successor can take the focus over after
// the rows of a listing were made anew.

export function focusMark(element) {
  if (element?.id) {
    return `#${CSS.escape(element.id)}`;
  }
  const { action, name } = element?.dataset ?? {};
  if (action === undefined) {
    return null;
  }
  const nameMark = name === undefined ? "" : `[data-name="${CSS.escape(name)}"]`;
  return `[data-action="${CSS.escape(action)}"]${nameMark}`;
}

export function focusAgain(mark) {
  const isFocusLost = document.activeElement === null || document.activeElement === document.body;
  if (mark !== null && isFocusLost) {
    document.querySelector(mark)?.focus({ preventScroll: true });
  }
}
