// The rows of a table body stand in groups. The browser passes over a group out of sight as a whole; ten thousand rows
// each on its own would keep it busy with every frame.

// A new group takes so many rows. What comes in between makes it larger, until it is parted: then the fewer rows move.
const kFullGroup = 32;
const kLargestGroup = 40;
const kRowPixels = 39;

function createGroup() {
  const group = document.createElement("div");
  // For screen readers the rows belong to the table body.
  group.setAttribute("role", "presentation");
  return group;
}

export class RowGroups {
  constructor(body) {
    this.body = body;
    this.changed = new Set();
  }

  // Moves the rows behind `row`, or those up to it, into a group of their own. Gives the row's group.
  part(group, row) {
    const rows = Array.from(group.children);
    const end = rows.indexOf(row) + 1;
    const other = createGroup();
    this.changed.add(group).add(other);
    if (end > rows.length / 2) {
      group.after(other);
      other.append(...rows.slice(end));
      return group;
    }
    group.before(other);
    other.append(...rows.slice(0, end));
    return other;
  }

  // Gives the first group if there is room in it, or a new one before it.
  roomAtTop() {
    const group = this.body.firstElementChild;
    if (group !== null && group.childElementCount < kLargestGroup) {
      return group;
    }
    const fresh = createGroup();
    this.body.prepend(fresh);
    return fresh;
  }

  // Gives the row's group if there is room in it, or else one in which there is room behind the row.
  roomBehind(row) {
    const group = row.parentElement;
    const isAtEnd = row.nextElementSibling === null;
    if (group.childElementCount < (isAtEnd ? kFullGroup : kLargestGroup)) {
      return group;
    }
    if (!isAtEnd) {
      return this.part(group, row);
    }
    const fresh = createGroup();
    group.after(fresh);
    return fresh;
  }

  // Puts the row, which is new or stands elsewhere, behind `previous`; at the top when that is null.
  place(row, previous) {
    this.remove(row);
    const group = previous === null ? this.roomAtTop() : this.roomBehind(previous);
    group.insertBefore(
      row,
      previous?.parentElement === group ? previous.nextElementSibling : group.firstElementChild,
    );
    this.changed.add(group);
  }

  remove(row) {
    if (row.parentElement !== null) {
      this.changed.add(row.parentElement);
      row.remove();
    }
  }

  // To be called after changes: says how high a group is that has not been in sight yet.
  settle() {
    for (const group of this.changed) {
      if (group.childElementCount === 0) {
        group.remove();
      } else {
        group.style.containIntrinsicHeight = `auto ${group.childElementCount * kRowPixels}px`;
      }
    }
    this.changed.clear();
  }
}
