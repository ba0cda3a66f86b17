import { en, type Words } from "./en.js";
export const ko: Words = en;
