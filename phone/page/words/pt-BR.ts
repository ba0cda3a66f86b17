import { en, type Words } from "./en.js";
export const ptBR: Words = en;
