import { en, type Words } from "./en.js";
export const ru: Words = en;
