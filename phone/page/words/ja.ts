import { en, type Words } from "./en.js";
export const ja: Words = en;
