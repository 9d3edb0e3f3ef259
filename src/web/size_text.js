// Sizes in bytes as people read them; 1024 bytes make a kilobyte.

const kUnits = ["B", "KB", "MB", "GB", "TB"];

export function sizeText(bytes) {
  if (bytes === undefined || bytes === null) {
    return "";
  }
  let value = Number(bytes);
  let unit = 0;
  while (value >= 1024 && unit < kUnits.length - 1) {
    value /= 1024;
    unit += 1;
  }
  return `${unit === 0 ? value : value.toFixed(1)} ${kUnits[unit]}`;
}

export function megabytes(bytes) {
  return (bytes / 1024 / 1024).toFixed(1);
}

export function totalSize(files) {
  return Array.from(files).reduce((sum, file) => sum + file.size, 0);
}
