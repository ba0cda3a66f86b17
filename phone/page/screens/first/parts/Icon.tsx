/** A drawing on 24 × 24, drawn with a line of 1.8 in the colour of the text. Path data only. */
export function Icon({ path, turns = false }: { path: string; turns?: boolean }) {
  return (
    <svg class={turns ? "icon turns" : "icon"} viewBox="0 0 24 24" aria-hidden="true">
      <path d={path} />
    </svg>
  );
}

/** The icons that the first view needs; the others are loaded with what shows them. */
export const firstIcons = {
  bell: "M6 16.5V10.5a6 6 0 0 1 12 0V16.5L19.5 18.5H4.5ZM10 21.5a2.3 2.3 0 0 0 4 0",
  down: "M6 9.5l6 6 6-6",
  back: "M15 5l-7 7 7 7",
  amber: "M12 4L2.8 19.5H21.2ZM12 10v4.5M12 17v.01",
  red: "M8.1 2.8H15.9L21.2 8.1V15.9L15.9 21.2H8.1L2.8 15.9V8.1ZM12 7.5v5.5M12 16.3v.01",
  done: "M12 2.8a9.2 9.2 0 1 0 .01 0M8 12.3l2.8 2.8L16 9.8",
  lock: "M7.5 10.5V7.5a4.5 4.5 0 0 1 9 0V10.5M6.5 10.5H17.5a2 2 0 0 1 2 2V18.5a2 2 0 0 1-2 2H6.5a2 2 0 0 1-2-2V12.5a2 2 0 0 1 2-2Z",
} as const;
