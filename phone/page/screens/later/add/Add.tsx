export function Add() { return null; }
